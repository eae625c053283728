// A directory of a test's own, with ready-made store content. Test code only.
#pragma once

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <iterator>
#include <string>

#include "qv/text/path.h"

namespace qv::symbol_store::test {

namespace fs = boost::filesystem;

class temporary_directory {
public:
    temporary_directory() : path_(fs::temp_directory_path() / fs::unique_path("symbol_store_%%%%%%%%")) {
        fs::create_directories(path_);
    }
    ~temporary_directory() {
        boost::system::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;

    const fs::path& path() const noexcept { return path_; }
    fs::path operator/(const fs::path& inside) const { return path_ / inside; }

private:
    fs::path path_;
};

inline void write_file(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    // Opened by its native text: the path itself would pass through a code page.
    std::ofstream(path.c_str(), std::ios::binary) << content;
}

inline std::string read_file(const fs::path& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::size_t count_entries(const fs::path& directory) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

}  // namespace qv::symbol_store::test
