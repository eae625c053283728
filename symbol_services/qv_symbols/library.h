// This library as the system knows it.
#pragma once

#include <windows.h>

#include <boost/filesystem/path.hpp>

namespace qv::symbols {

// Set by DllMain before anything else runs.
HMODULE this_library() noexcept;

// Throws win32_error_exception.
boost::filesystem::path path_of_library(HMODULE library);

}  // namespace qv::symbols
