// Writes to the standard handles. Windows only.
#pragma once

#include <string_view>

namespace qv::profiler::pdb_client {

// Each answers whether the text reached its end. A console gets it as characters, whatever its code page; a file or
// pipe gets the bytes as they are. A reader of standard output that goes before the end has what it wanted: true.
// `verbatim` output is any bytes: a console gets a printable form of them.
bool write_output(std::string_view output, bool verbatim);
bool write_messages(std::string_view utf8);

}  // namespace qv::profiler::pdb_client
