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

    // Whether a client, or an image that it names, may have the server look at a place: a file, or an element of the
    // search paths. Empty: at any. The server's own environment is not asked about.
    std::function<bool(const boost::filesystem::path& place)> may_look_at = {};

    bool lets_look_at(const boost::filesystem::path& place) const { return !may_look_at || may_look_at(place); }
};

// The services of the running system.
const platform_services& system_services();

// An absolute path on a drive of this machine: no share, no drive that a share is connected as, no device, no symbol
// store. What a link on such a drive leads to is not looked at.
bool is_local_path(const boost::filesystem::path& place);

}  // namespace qv::profiler::pdb_server
