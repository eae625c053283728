// The symbol-server library that the process has loaded. Windows only.
//
// The library's published entry points are those documented with dbghelp.h.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "base/guid.h"

namespace qv::profiler::pdb_server::symsrv_imports {

// Loads "SymSrv.dll" from the directory, which must be absolute; an empty one means the directory of the running
// executable. The library loaded before is released, also when the new one cannot be loaded. Throws for a directory
// that is not absolute or not there, and win32_error_exception for a library that cannot be loaded; the path is
// attached. The library asks the calling thread's `interruption` whether to give up; with `tells` it tells what it does
// to its `search_listener`.
void init(boost::filesystem::path directory, bool tells = false);

// Asks the loaded library for a file; `parameters` are those of text/symbol_path.h. Empty when the
// library does not have it, is not loaded or lacks the entry point. Any number of threads may ask: what a library
// cannot bear is kept from it (common/symbol_server.h).
boost::filesystem::path find_file(const std::wstring& parameters, const std::wstring& file_name, const GUID& id,
                                  std::uint32_t age);

}  // namespace qv::profiler::pdb_server::symsrv_imports
