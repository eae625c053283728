// The spelling under which a PDB file keeps a source file.
#pragma once

#include <string>
#include <string_view>

namespace qv::classic_reader {

// Lower case and backslashes. Both texts are UTF-8; letters of Latin, Greek and Cyrillic script have a lower case here,
// everything else stays, malformed text included.
std::string fold_path(std::string_view path);

}  // namespace qv::classic_reader
