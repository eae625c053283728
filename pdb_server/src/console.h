// The server's words to whoever started it. Windows only.
#pragma once

#include <string_view>

namespace qv::profiler::pdb_server {

enum class console_stream { output, error };

// Writes the text, whose lines end with "\n", as one piece and at once: UTF-8 for a file or a pipe, the characters
// themselves for a console. A stream that is closed or broken is ignored. Any thread may call.
void write_text(console_stream stream, std::string_view utf8);

}  // namespace qv::profiler::pdb_server
