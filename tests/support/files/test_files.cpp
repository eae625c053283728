#include "tests/support/files/test_files.h"

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "text/path.h"

namespace qv::testing {

boost::filesystem::path source_root() {
    return boost::filesystem::path(QV_SOURCE_ROOT).make_preferred();
}

boost::filesystem::path fixture(const std::string& file_name) {
    return source_root() / "tests" / "fixtures" / "modules" / file_name;
}

temporary_directory::temporary_directory()
    : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("qv-test-%%%%-%%%%-%%%%")) {
    boost::filesystem::create_directories(path_);
}

temporary_directory::~temporary_directory() {
    boost::system::error_code ignored;
    boost::filesystem::remove_all(path_, ignored);
}

boost::filesystem::path temporary_directory::write(const boost::filesystem::path& relative,
                                                   const std::string& bytes) const {
    const auto path = path_ / relative;
    boost::filesystem::create_directories(text::to_system_path(path.parent_path()));
    // Opened by its native text: the path itself would pass through a code page.
    std::ofstream file(text::to_system_path(path).c_str(), std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
    return path;
}

boost::filesystem::path temporary_directory::copy(const boost::filesystem::path& from,
                                                  const boost::filesystem::path& relative) const {
    return write(relative, read_file(from));
}

std::string read_file(const boost::filesystem::path& path) {
    std::ifstream file(text::to_system_path(path).c_str(), std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace qv::testing
