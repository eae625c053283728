#include "pdb_server/src/system/platform_services.h"

#include <windows.h>

#include "pdb_server/src/system/windows/symsrv_imports.h"

namespace qv::profiler::pdb_server {
namespace {

std::uint32_t get_environment_variable(const wchar_t* name, wchar_t* buffer, std::uint32_t size, std::uint32_t& error) {
    // An empty value is reported as 0 without touching the last error.
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableW(name, buffer, size);
    error = length == 0 ? GetLastError() : ERROR_SUCCESS;
    return length;
}

}  // namespace

const platform_services& system_services() {
    static const platform_services services = {&get_environment_variable, &symsrv_imports::find_file};
    return services;
}

}  // namespace qv::profiler::pdb_server
