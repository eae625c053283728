// Writes UTF-8 to the standard handles. Windows only.
#pragma once

#include <string_view>

namespace qv::profiler::pdb_client {

// Each writes everything and answers whether that worked. A console gets the text as characters, whatever its code
// page; a file or pipe gets the bytes as they are.
bool write_output(std::string_view utf8);
bool write_messages(std::string_view utf8);

}  // namespace qv::profiler::pdb_client
