// What the file system holds, without exceptions: a path that cannot be asked about holds nothing.
#pragma once

#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <string>

#include "base/os_file.h"
#include "text/path.h"

namespace qv::symbol_store {

inline bool file_exists(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::is_regular_file(text::to_system_path(path), ignored);
}

inline bool directory_exists(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::is_directory(text::to_system_path(path), ignored);
}

inline bool anything_exists(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::exists(text::to_system_path(path), ignored);
}

// The bytes of a file; none where it cannot be read or has more than `longest`.
inline std::string bytes_of(const boost::filesystem::path& path, std::uint64_t longest) {
    os_file file;
    std::uint64_t size = 0;
    if (file.open(path, os_file::mode::copy) != 0 || file.get_size(size) != 0 || size > longest) return {};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    return file.read(0, bytes.data(), size) == 0 ? bytes : std::string();
}

}  // namespace qv::symbol_store
