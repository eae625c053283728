// The one place where paths and UTF-16 text meet.
//
// On Windows a path holds UTF-16 already; elsewhere the file system speaks UTF-8 and the text is converted.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <string>
#include <string_view>

namespace qv::text {

// In UTF-16 code units. Windows knows no longer paths, and other systems only shorter ones: a longer text names no
// file.
constexpr std::size_t longest_path = 32'767;

// What follows the last slash of either kind.
std::string_view file_name(std::string_view path) noexcept;
std::wstring_view file_name(std::wstring_view path) noexcept;

// Whether a path written as Windows does begins with a drive and its root, as in "C:\".
bool begins_at_drive(std::wstring_view path) noexcept;

// Throws std::runtime_error where the text is malformed UTF-16 and the file system speaks UTF-8.
boost::filesystem::path to_path(const std::wstring& utf16);

// The path as text, exactly as it was given.
std::wstring to_wide(const boost::filesystem::path& path);

// The path in the form to hand to the operating system, and to nothing else: Windows takes a path of MAX_PATH and more
// everywhere only with a prefix. Everywhere else it is the path as given.
boost::filesystem::path to_system_path(const boost::filesystem::path& path);

// The rule behind it, for a path written as Windows does: an absolute path that is too long for MAX_PATH is normalised
// and gets a prefix, "\\?\" or "\\?\UNC\", behind which the system takes every character literally. Any other path
// (short, relative, or with a prefix already) comes back as it is.
std::wstring to_long_path(const std::wstring& path);

}  // namespace qv::text
