// A note in a cache that an HTTP store did not have a file, so that it is not asked again for an hour.
//
// It lies where the file would lie, as "~absent-HASH.txt" with one line of UTF-8: the time in seconds since 1970, a
// blank, and the address of the store without secrets. It may be deleted at any time.
#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <string>

namespace qv::symbol_store {

class absence_mark {
public:
    static constexpr std::chrono::seconds lifetime = std::chrono::hours(1);

    // `directory` is that of the file in the cache, `store` the address for people.
    absence_mark(const boost::filesystem::path& directory, const std::wstring& store);

    // Whether a note is there and holds at this time. One from the future does not.
    bool holds(std::chrono::system_clock::time_point now) const;

    // A note that cannot be written is no failure.
    void write(std::chrono::system_clock::time_point now) const;

private:
    boost::filesystem::path path_;
    std::string store_;
};

}  // namespace qv::symbol_store
