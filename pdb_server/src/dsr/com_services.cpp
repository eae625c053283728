#include "pdb_server/src/dsr/com_services.h"

#include "pdb_server/src/system/windows/clr_host.h"

namespace qv::profiler::pdb_server {

com_services system_com_services() {
    const auto create_instance = [](REFCLSID class_id, REFIID interface_id, void** object) {
        return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, interface_id, object);
    };
    return {create_instance, clr_host::create_instance(), &CoTaskMemFree};
}

}  // namespace qv::profiler::pdb_server
