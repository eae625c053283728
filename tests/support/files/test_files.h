// Files of the source tree and temporary ones, for tests.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace qv::testing {

// Root of the source tree as the running program sees it.
boost::filesystem::path source_root();

// A compiled fixture module or its PDB, such as "Standalone.dll".
boost::filesystem::path fixture(const std::string& file_name);

// A fresh directory that is removed with all it holds.
class temporary_directory {
public:
    temporary_directory();
    ~temporary_directory();
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;

    const boost::filesystem::path& path() const noexcept { return path_; }

    // Writes a file below the directory, making directories as needed, and returns its path.
    boost::filesystem::path write(const boost::filesystem::path& relative, const std::string& bytes) const;

    // Copies a file to this place below the directory.
    boost::filesystem::path copy(const boost::filesystem::path& from, const boost::filesystem::path& relative) const;

private:
    boost::filesystem::path path_;
};

std::string read_file(const boost::filesystem::path& path);

}  // namespace qv::testing
