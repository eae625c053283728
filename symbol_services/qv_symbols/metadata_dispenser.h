// Opens the metadata of images for reading.
#pragma once

#include "qv/com/runtime_interfaces.h"
#include "symbol_services/qv_symbols/com_object.h"

namespace qv::symbols {

class metadata_dispenser final : public com_object<com::IMetaDataDispenser> {
public:
    metadata_dispenser() = default;

    HRESULT STDMETHODCALLTYPE DefineScope(REFCLSID class_id, DWORD flags, REFIID interface_id,
                                          IUnknown** scope) override;
    HRESULT STDMETHODCALLTYPE OpenScope(const WCHAR* file, DWORD flags, REFIID interface_id, IUnknown** scope) override;
    HRESULT STDMETHODCALLTYPE OpenScopeOnMemory(const void* data, ULONG size, DWORD flags, REFIID interface_id,
                                                IUnknown** scope) override;

private:
    ~metadata_dispenser() override = default;
    void* find_interface(REFIID id) noexcept override;
};

}  // namespace qv::symbols
