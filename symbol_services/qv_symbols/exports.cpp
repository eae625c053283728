// The entry points by which COM and regsvr32 know an in-process server.
#include <windows.h>
// after <windows.h>
#include <objbase.h>

#include "qv/com/runtime_interfaces.h"
#include "qv/com/symbol_interfaces.h"
#include "qv/text/path.h"
#include "symbol_services/qv_symbols/class_factory.h"
#include "symbol_services/qv_symbols/library.h"
#include "symbol_services/qv_symbols/metadata_dispenser.h"
#include "symbol_services/qv_symbols/registration.h"
#include "symbol_services/qv_symbols/symbol_binder.h"

namespace {

using namespace qv::symbols;

std::wstring own_path() {
    return qv::text::to_wide(path_of_library(this_library()));
}

}  // namespace

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
