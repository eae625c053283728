// "file.ptr": the text that stands in a symbol store instead of a file.
//
//     PATH:\\server\builds\1.0\app.pdb     the file is there
//     \\server\builds\1.0\app.pdb          the same
//     MSG: text                            the file is not to be had, and why
//
// Only the first line counts. The text is UTF-8, with or without a byte order mark.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <string_view>

namespace qv::symbol_store {

// The path that the text names. Empty for a message, for anything malformed, and for a path that is not absolute, not
// made of plain components (path_rules.h), or that leads to another "file.ptr".
boost::filesystem::path parse_pointer(std::string_view text);

// The same from a file. A file longer than any path can be is not read and gives an empty path, as does every failure.
boost::filesystem::path read_pointer_file(const boost::filesystem::path& path);

}  // namespace qv::symbol_store
