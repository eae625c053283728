// The reader of one classic PDB file, as the symbol binder gives it.
#pragma once

#include <memory>
#include <string>

#include "common/com/symbol_interfaces.h"
#include "symbol_services/qv_symbols/com_object.h"
#include "symbol_services/qv_symbols/symbol_file.h"

namespace qv::symbols {

// Answers about documents, methods, their sequence points and places, and source-server data. Variables, namespaces,
// attributes and changes to the file are not implemented. After Destroy every call on the reader and on what it has
// given out answers E_SYM_DESTROYED.
class symbol_reader final
    : public com_object<com::ISymUnmanagedReader, com::ISymUnmanagedSourceServerModule, com::ISymUnmanagedDispose> {
public:
    // The name is that of the file; empty for one that came in a stream.
    symbol_reader(std::shared_ptr<const classic_reader::pdb> file, std::wstring name);

    // The kinds of the document are not looked at: names are unique.
    HRESULT STDMETHODCALLTYPE GetDocument(WCHAR* url, GUID language, GUID vendor, GUID type,
                                          com::ISymUnmanagedDocument** document) override;
    HRESULT STDMETHODCALLTYPE GetDocuments(ULONG32 capacity, ULONG32* count,
                                           com::ISymUnmanagedDocument** documents) override;
    HRESULT STDMETHODCALLTYPE GetMethod(com::token method, com::ISymUnmanagedMethod** result) override;
    HRESULT STDMETHODCALLTYPE GetMethodByVersion(com::token method, int version,
                                                 com::ISymUnmanagedMethod** result) override;
    HRESULT STDMETHODCALLTYPE GetMethodFromDocumentPosition(com::ISymUnmanagedDocument* document, ULONG32 line,
                                                            ULONG32 column, com::ISymUnmanagedMethod** result) override;
    HRESULT STDMETHODCALLTYPE GetMethodsFromDocumentPosition(com::ISymUnmanagedDocument* document, ULONG32 line,
                                                             ULONG32 column, ULONG32 capacity, ULONG32* count,
                                                             com::ISymUnmanagedMethod** methods) override;
    HRESULT STDMETHODCALLTYPE GetSymbolStoreFileName(ULONG32 capacity, ULONG32* count, WCHAR* name) override;
    HRESULT STDMETHODCALLTYPE GetDocumentVersion(com::ISymUnmanagedDocument* document, int* version,
                                                 BOOL* is_current) override;
    HRESULT STDMETHODCALLTYPE GetMethodVersion(com::ISymUnmanagedMethod* method, int* version) override;

    // The source-server stream; no data where the file has none.
    HRESULT STDMETHODCALLTYPE GetSourceServerData(ULONG* size, BYTE** data) override;
    HRESULT STDMETHODCALLTYPE Destroy() override;

private:
    ~symbol_reader() override = default;
    HRESULT unimplemented() const noexcept override;

    const std::shared_ptr<symbol_file> file_;
};

}  // namespace qv::symbols
