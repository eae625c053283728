// Reads from an image what the server must be told about it.
#pragma once

#include <boost/filesystem/path.hpp>

#include "pdb_client/program/module_symbols.h"

namespace qv::profiler::pdb_client {

// A relative path is taken from the current directory. Throws what opening the file and the readers throw.
module_info read_module_file(const boost::filesystem::path& path);

}  // namespace qv::profiler::pdb_client
