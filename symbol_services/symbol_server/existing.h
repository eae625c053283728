// What the file system holds, without exceptions: a path that cannot be asked about holds nothing.
#pragma once

#include <boost/filesystem/operations.hpp>

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

}  // namespace qv::symbol_store
