// Tells people why a server has no symbols for a module, as far as files on this machine can explain it. Where else
// the server has looked, and what it was allowed to see, is not known here.
#pragma once

#include <string>
#include <vector>

#include "pdb_client/program/module_symbols.h"

namespace qv::profiler::pdb_client {

// The reason, then indented lines with the PDB that the image names and those found in its place, then advice; each
// line ended. Looked at are the recorded path, the module's directory, there also a PDB that is named like the module,
// and the directories among the search paths.
std::string missing_symbols_text(const module_info& module, const std::vector<std::wstring>& search_paths);

}  // namespace qv::profiler::pdb_client
