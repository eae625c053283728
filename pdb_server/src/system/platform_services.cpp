#include "pdb_server/src/system/platform_services.h"

#include "pdb_server/src/system/environment.h"
#include "pdb_server/src/system/windows/symsrv_imports.h"

namespace qv::profiler::pdb_server {

const platform_services& system_services() {
    static const platform_services services = {&get_environment_variable, &symsrv_imports::find_file};
    return services;
}

}  // namespace qv::profiler::pdb_server
