#include <windows.h>

#include "pdb_server/src/system/environment.h"

namespace qv::profiler::pdb_server {

std::uint32_t get_environment_variable(const wchar_t* name, wchar_t* buffer, std::uint32_t size, std::uint32_t& error) {
    // An empty value is reported as 0 without touching the last error.
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableW(name, buffer, size);
    error = length == 0 ? GetLastError() : ERROR_SUCCESS;
    return length;
}

}  // namespace qv::profiler::pdb_server
