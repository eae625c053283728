// Finds the classic PDB file of an image and opens it.
#pragma once

#include "common/com/symbol_interfaces.h"
#include "symbol_services/qv_symbols/com_object.h"

namespace qv::symbols {

class symbol_binder final : public com_object<com::ISymUnmanagedBinder2> {
public:
    symbol_binder() = default;

    // Looks beside the image and along the search path's directories only.
    HRESULT STDMETHODCALLTYPE GetReaderForFile(IUnknown* importer, const WCHAR* file, const WCHAR* search_path,
                                               com::ISymUnmanagedReader** reader) override;
    // Takes the file as it is: nothing says which image it must belong to.
    HRESULT STDMETHODCALLTYPE GetReaderFromStream(IUnknown* importer, IStream* stream,
                                                  com::ISymUnmanagedReader** reader) override;
    // The registry is not looked at, whatever the policy. Fails with the codes of pdb_errors.h.
    HRESULT STDMETHODCALLTYPE GetReaderForFile2(IUnknown* importer, const WCHAR* file, const WCHAR* search_path,
                                                ULONG32 policy, com::ISymUnmanagedReader** reader) override;

private:
    ~symbol_binder() override = default;
    void* find_interface(REFIID id) noexcept override;
};

}  // namespace qv::symbols
