// A file that is being made: nobody sees it under its name before it is complete.
//
// Its bytes go to "~*.tmp" beside the name that it is to have. A process that is killed may leave one behind, which is
// never mistaken for the file.
#pragma once

#include <boost/filesystem/path.hpp>

#include "base/os_file.h"

namespace qv::symbol_store {

// Goes with this object unless it was renamed. One thread at a time.
class temporary_file {
public:
    // Made in an existing directory; is_open() says whether it could be.
    explicit temporary_file(const boost::filesystem::path& directory);
    ~temporary_file();
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    bool is_open() const noexcept { return file_.is_open(); }
    const boost::filesystem::path& path() const noexcept { return path_; }

    // Goes on with the file, until `finish`.
    bool write(const void* bytes, std::uint64_t size) noexcept;

    // Hands everything to the disk and closes the file, which others may read then.
    bool finish() noexcept;

    // To another name in the same directory, after `finish`.
    bool rename_to(const boost::filesystem::path& target);

private:
    boost::filesystem::path path_;
    os_file file_;
    std::uint64_t size_ = 0;
};

}  // namespace qv::symbol_store
