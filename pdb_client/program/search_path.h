// The search paths of a command line: what people write, made fit to be sent.
#pragma once

#include <string>
#include <vector>

namespace qv::profiler::pdb_client {

// Appends the elements of a list whose separator is ";", empty ones left out. Directories become absolute, because the
// server has another current directory; symbol servers, such as "srv*C:\store", stay as they are. Answers whether there
// was an element. Throws std::runtime_error for text that is not UTF-16.
bool append_search_paths(const std::wstring& list, std::vector<std::wstring>& elements);

}  // namespace qv::profiler::pdb_client
