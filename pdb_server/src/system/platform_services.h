// What the symbol engine asks of the operating system, as replaceable functions.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <functional>
#include <string>

#include "base/guid.h"

namespace qv::profiler::pdb_server {

struct platform_services {
    // Reads an environment variable into a buffer of `size` characters, by the contract of GetEnvironmentVariableW:
    // the answer is the length without the terminator, or, when that does not fit, the size that is needed. 0 means an
    // empty value or a failure, told apart by `error`, a Win32 code (0 for the empty value, 203 for an unset variable).
    std::function<std::uint32_t(const wchar_t* name, wchar_t* buffer, std::uint32_t size, std::uint32_t& error)>
        get_environment_variable;

    // Asks the loaded symbol-server library for a file; `parameters` say where
    // (text/symbol_path.h). Empty when the file is not there or no library is loaded.
    std::function<boost::filesystem::path(const std::wstring& parameters, const std::wstring& file_name, const GUID& id,
                                          std::uint32_t age)>
        find_symbol_file;
};

// The services of the running system.
const platform_services& system_services();

}  // namespace qv::profiler::pdb_server
