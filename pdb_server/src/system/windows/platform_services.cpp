#include "pdb_server/src/system/platform_services.h"

#include <windows.h>

#include "pdb_server/src/system/windows/symsrv_imports.h"
#include "text/path.h"

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

bool is_local_path(const boost::filesystem::path& place) {
    if (!text::begins_at_drive(place.native())) return false;
    const UINT type = GetDriveTypeW(std::wstring{place.native()[0], L':', L'\\'}.c_str());
    return type != DRIVE_REMOTE && type != DRIVE_UNKNOWN && type != DRIVE_NO_ROOT_DIR;
}

const platform_services& system_services() {
    static const platform_services services = {&get_environment_variable, &symsrv_imports::find_file};
    return services;
}

}  // namespace qv::profiler::pdb_server
