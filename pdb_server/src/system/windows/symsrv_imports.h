// The symbol-server library that the process has loaded.
//
// The library's published entry points are those documented with dbghelp.h. Elsewhere than on Windows there is no such
// library and nothing is ever found.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "quorvex/common/guid.h"

namespace qv::profiler::pdb_server::symsrv_imports {

// Loads "SymSrv.dll" from the directory, which must be absolute; an empty one means the directory of the running
// executable. The library loaded before is released, also when the new one cannot be loaded. Throws "Symbol server path
// isn't absolute", "Symbol server path doesn't exist" and "Symbol server wasn't loaded" with the path attached.
void init(boost::filesystem::path directory);

// Asks the loaded library for a file; `parameters` are those of common/symbol_server/search_elements.h. Empty when the
// library does not have it, is not loaded or lacks the entry point. Any number of threads may ask: what a library
// cannot bear is kept from it (common/symbol_server/library.h).
boost::filesystem::path find_file(const std::wstring& parameters, const std::wstring& file_name, const GUID& id,
                                  std::uint32_t age);

}  // namespace qv::profiler::pdb_server::symsrv_imports
