// The symbol interfaces for objects that implement a part of them: every other slot empties its outputs and answers
// what unimplemented() says. Windows only.
#pragma once

#include "qv/com/outputs.h"
#include "qv/com/symbol_interfaces.h"

namespace qv::com {

// An interface with its refusal.
template <class Interface>
struct refusing : Interface {
protected:
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }

    template <class... Outputs>
    HRESULT refuse(Outputs... outputs) const noexcept {
        clear_outputs(outputs...);
        return unimplemented();
    }
};

struct unimplemented_document : refusing<ISymUnmanagedDocument> {
    HRESULT STDMETHODCALLTYPE GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) override {
        return refuse(count, output_text(url, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetDocumentType(GUID* type) override { return refuse(type); }
    HRESULT STDMETHODCALLTYPE GetLanguage(GUID* language) override { return refuse(language); }
    HRESULT STDMETHODCALLTYPE GetLanguageVendor(GUID* vendor) override { return refuse(vendor); }
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID* algorithm) override { return refuse(algorithm); }
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32, ULONG32* count, BYTE*) override { return refuse(count); }
    HRESULT STDMETHODCALLTYPE FindClosestLine(ULONG32, ULONG32* closest) override { return refuse(closest); }
    HRESULT STDMETHODCALLTYPE HasEmbeddedSource(BOOL* has_source) override { return refuse(has_source); }
    HRESULT STDMETHODCALLTYPE GetSourceLength(ULONG32* length) override { return refuse(length); }
    HRESULT STDMETHODCALLTYPE GetSourceRange(ULONG32, ULONG32, ULONG32, ULONG32, ULONG32, ULONG32* count,
                                             BYTE*) override {
        return refuse(count);
    }
};

struct unimplemented_method : refusing<ISymUnmanagedMethod> {
    HRESULT STDMETHODCALLTYPE GetToken(token* method) override { return refuse(method); }
    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32* count) override { return refuse(count); }
    HRESULT STDMETHODCALLTYPE GetRootScope(IUnknown** scope) override { return refuse(scope); }
    HRESULT STDMETHODCALLTYPE GetScopeFromOffset(ULONG32, IUnknown** scope) override { return refuse(scope); }
    HRESULT STDMETHODCALLTYPE GetOffset(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32* offset) override {
        return refuse(offset);
    }
    HRESULT STDMETHODCALLTYPE GetRanges(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32, ULONG32* count,
                                        ULONG32*) override {
        return refuse(count);
    }
    HRESULT STDMETHODCALLTYPE GetParameters(ULONG32 capacity, ULONG32* count, IUnknown** parameters) override {
        return refuse(count, output_array(parameters, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetNamespace(IUnknown** name_space) override { return refuse(name_space); }
    HRESULT STDMETHODCALLTYPE GetSourceStartEnd(ISymUnmanagedDocument** documents, ULONG32* lines, ULONG32* columns,
                                                BOOL* has_source) override {
        return refuse(output_array(documents, 2), output_array(lines, 2), output_array(columns, 2), has_source);
    }
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32*,
                                                ISymUnmanagedDocument** documents, ULONG32*, ULONG32*, ULONG32*,
                                                ULONG32*) override {
        return refuse(count, output_array(documents, capacity));
    }
};

struct unimplemented_reader : refusing<ISymUnmanagedReader> {
    HRESULT STDMETHODCALLTYPE GetDocument(WCHAR*, GUID, GUID, GUID, ISymUnmanagedDocument** document) override {
        return refuse(document);
    }
    HRESULT STDMETHODCALLTYPE GetDocuments(ULONG32 capacity, ULONG32* count,
                                           ISymUnmanagedDocument** documents) override {
        return refuse(count, output_array(documents, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetUserEntryPoint(token* method) override { return refuse(method); }
    HRESULT STDMETHODCALLTYPE GetMethod(token, ISymUnmanagedMethod** method) override { return refuse(method); }
    HRESULT STDMETHODCALLTYPE GetMethodByVersion(token, int, ISymUnmanagedMethod** method) override {
        return refuse(method);
    }
    HRESULT STDMETHODCALLTYPE GetVariables(token, ULONG32 capacity, ULONG32* count, IUnknown** variables) override {
        return refuse(count, output_array(variables, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetGlobalVariables(ULONG32 capacity, ULONG32* count, IUnknown** variables) override {
        return refuse(count, output_array(variables, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetMethodFromDocumentPosition(ISymUnmanagedDocument*, ULONG32, ULONG32,
                                                            ISymUnmanagedMethod** method) override {
        return refuse(method);
    }
    HRESULT STDMETHODCALLTYPE GetSymAttribute(token, WCHAR*, ULONG32, ULONG32* count, BYTE*) override {
        return refuse(count);
    }
    HRESULT STDMETHODCALLTYPE GetNamespaces(ULONG32 capacity, ULONG32* count, IUnknown** namespaces) override {
        return refuse(count, output_array(namespaces, capacity));
    }
    HRESULT STDMETHODCALLTYPE Initialize(IUnknown*, const WCHAR*, const WCHAR*, IStream*) override { return refuse(); }
    HRESULT STDMETHODCALLTYPE UpdateSymbolStore(const WCHAR*, IStream*) override { return refuse(); }
    HRESULT STDMETHODCALLTYPE ReplaceSymbolStore(const WCHAR*, IStream*) override { return refuse(); }
    HRESULT STDMETHODCALLTYPE GetSymbolStoreFileName(ULONG32 capacity, ULONG32* count, WCHAR* name) override {
        return refuse(count, output_text(name, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetMethodsFromDocumentPosition(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32 capacity,
                                                             ULONG32* count, ISymUnmanagedMethod** methods) override {
        return refuse(count, output_array(methods, capacity));
    }
    HRESULT STDMETHODCALLTYPE GetDocumentVersion(ISymUnmanagedDocument*, int* version, BOOL* is_current) override {
        return refuse(version, is_current);
    }
    HRESULT STDMETHODCALLTYPE GetMethodVersion(ISymUnmanagedMethod*, int* version) override { return refuse(version); }
};

}  // namespace qv::com
