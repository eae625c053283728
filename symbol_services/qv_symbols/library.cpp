#include "symbol_services/qv_symbols/library.h"

#include <objbase.h>

#include "base/exception.h"
#include "base/module_path.h"
#include "common/com/runtime_interfaces.h"
#include "common/com/symbol_interfaces.h"
#include "symbol_services/qv_symbols/com_object.h"
#include "symbol_services/qv_symbols/metadata.h"
#include "symbol_services/qv_symbols/registration.h"
#include "symbol_services/qv_symbols/symbol_binder.h"
#include "text/path.h"

namespace qv::symbols {
namespace {

HMODULE library_handle = nullptr;

}  // namespace

HMODULE this_library() noexcept {
    return library_handle;
}

boost::filesystem::path path_of_library(HMODULE library) {
    const auto path = module_path(library);
    if (path.empty()) throw_win32_error("Can't get module file name", GetLastError());
    return path;
}

}  // namespace qv::symbols

namespace {

using namespace qv::symbols;

std::wstring own_path() {
    return qv::text::to_wide(path_of_library(this_library()));
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) library_handle = instance;
    return TRUE;
}

// By these COM and regsvr32 know an in-process server.

STDAPI DllGetClassObject(REFCLSID class_id, REFIID interface_id, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    return guard([&]() -> HRESULT {
        if (IsEqualGUID(class_id, qv::com::clsid_symbol_binder))
            return make_object<class_factory<symbol_binder>>()->QueryInterface(interface_id, object);
        if (IsEqualGUID(class_id, qv::com::clsid_metadata_dispenser))
            return make_object<class_factory<metadata_dispenser>>()->QueryInterface(interface_id, object);
        return CLASS_E_CLASSNOTAVAILABLE;
    });
}

STDAPI DllCanUnloadNow() {
    return module_lock::held() ? S_FALSE : S_OK;
}

STDAPI DllRegisterServer() {
    return guard([] { return register_classes(own_path()); });
}

STDAPI DllUnregisterServer() {
    return guard([] { return unregister_classes(own_path()); });
}
