#include "symbol_services/qv_symbols/metadata_dispenser.h"

#include "qv/text/path.h"
#include "symbol_services/qv_symbols/metadata_scope.h"
#include "symbol_services/qv_symbols/outputs.h"

namespace qv::symbols {
namespace {

constexpr DWORD open_for_writing = 1;

HRESULT refuse(IUnknown** scope) noexcept {
    if (scope == nullptr) return E_POINTER;
    *scope = nullptr;
    return E_NOTIMPL;
}

}  // namespace

void* metadata_dispenser::find_interface(REFIID id) noexcept {
    return IsEqualGUID(id, com::iid_of<com::IMetaDataDispenser>) ? static_cast<com::IMetaDataDispenser*>(this)
                                                                 : nullptr;
}

HRESULT metadata_dispenser::DefineScope(REFCLSID, DWORD, REFIID, IUnknown** scope) {
    return refuse(scope);
}

HRESULT metadata_dispenser::OpenScope(const WCHAR* file, DWORD flags, REFIID interface_id, IUnknown** scope) {
    return guard([&] {
        if (scope == nullptr) return E_POINTER;
        *scope = nullptr;
        std::wstring name;
        if (!take_text(file, name) || name.empty()) return E_INVALIDARG;
        if ((flags & open_for_writing) != 0) return E_NOTIMPL;
        const auto object = make_object<metadata_scope>(read_image_facts(text::to_path(name)));
        return object->QueryInterface(interface_id, reinterpret_cast<void**>(scope));
    });
}

HRESULT metadata_dispenser::OpenScopeOnMemory(const void*, ULONG, DWORD, REFIID, IUnknown** scope) {
    return refuse(scope);
}

}  // namespace qv::symbols
