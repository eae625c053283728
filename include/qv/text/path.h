// The one place where paths and UTF-16 text meet.
//
// On Windows a path holds UTF-16 already; elsewhere the file system speaks UTF-8 and the text is converted.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace qv::text {

// Throws std::runtime_error where the text is malformed UTF-16 and the file system speaks UTF-8.
boost::filesystem::path to_path(const std::wstring& utf16);

// The path as text, exactly as it was given.
std::wstring to_wide(const boost::filesystem::path& path);

}  // namespace qv::text
