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

// Asks the loaded library for a file by the search path element `element` ("srv*...", "symsrv*symsrv.dll*..." or
// "cache*..."). Empty when the library does not have it, is not loaded, lacks the entry point, or is not the one that
// the element names. Calls are served one after the other, as the published contract of the library asks.
boost::filesystem::path find_file(const std::wstring& element, const std::wstring& file_name, const GUID& id,
                                  std::uint32_t age);

}  // namespace qv::profiler::pdb_server::symsrv_imports
