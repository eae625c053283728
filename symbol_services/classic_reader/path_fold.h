// The spelling under which a PDB file keeps a source file.
#pragma once

#include <string>
#include <string_view>

namespace qv::classic_reader {

// Lower case and backslashes. Both texts are UTF-8; what is none stays as it is.
std::string fold_path(std::string_view path);

}  // namespace qv::classic_reader
