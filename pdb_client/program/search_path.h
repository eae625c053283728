// The search paths of a command line: what people write, made fit to be sent.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv::profiler::pdb_client {

// True for a symbol server such as "srv*C:\store"; any other element is a directory.
bool is_symbol_server(std::wstring_view element);

// Appends the elements of a list whose separator is ";", empty ones left out. Directories become absolute, because the
// server has another current directory; symbol servers stay as they are. Answers whether there was an element. Throws
// std::runtime_error for text that is not UTF-16.
bool append_search_paths(const std::wstring& list, std::vector<std::wstring>& elements);

}  // namespace qv::profiler::pdb_client
