// A file of the operating system: what everything stands on that reads or writes files.
//
// Regular files only: a directory, a pipe or a device is refused, so that no path makes a caller wait. The one
// exception is the null device, which may be opened with `replace`: it takes everything at once and keeps nothing.
//
// Failures are answers, not exceptions: callers know best what to say of them. Every transfer names its place, so any
// number of threads may read one open file; all else is for one thread at a time.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace qv {

// The operating system's own number of a failure, and 0 for success.
using system_code = std::uint32_t;

// What a failure means, where a caller cares.
enum class failure_kind { not_found, access_denied, name_taken, other };
failure_kind kind_of(system_code code) noexcept;

class os_file {
public:
    enum class mode {
        read,     // an existing file; others may read, write, rename and delete it meanwhile
        copy,     // the same from its beginning to its end; others cannot write meanwhile where the system prevents it
        replace,  // for writing, an existing file being emptied; others may only read meanwhile (so Windows sees to it)
        create    // for writing, a file that did not exist before; shared with nobody
    };

    os_file() = default;
    os_file(os_file&& other) noexcept : handle_(std::exchange(other.handle_, closed)) {}
    os_file& operator=(os_file&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    os_file(const os_file&) = delete;
    os_file& operator=(const os_file&) = delete;
    ~os_file() { close(); }

    // Closes what was open before.
    system_code open(const boost::filesystem::path& path, mode how);
    void close() noexcept;
    bool is_open() const noexcept { return handle_ != closed; }

    // Everything below is for open files.

    // All of `size` bytes; where the file ends first, the answer is `end_of_file`, which is no system's code.
    static constexpr system_code end_of_file = 0xFFFFFFFF;
    system_code read(std::uint64_t offset, void* destination, std::uint64_t size) const noexcept;

    // All of `size` bytes.
    system_code write(std::uint64_t offset, const void* source, std::uint64_t size) noexcept;
    system_code truncate(std::uint64_t size) noexcept;

    // Hands everything written to the disk.
    system_code flush() noexcept;

    // In bytes.
    system_code get_size(std::uint64_t& size) const noexcept;

    // What changes when somebody writes to the file: its size in bytes and when that was done, in units of the system
    // and only good for comparing.
    struct version {
        std::uint64_t size;
        std::uint64_t write_time;
        friend bool operator==(const version&, const version&) = default;
    };
    system_code get_version(version& found) const noexcept;

    // The path with links and relative parts resolved, as the system reports it; where it knows none, that of `given`,
    // by which the file was opened, or `given` itself. On a network share the answer takes its time.
    boost::filesystem::path final_path(const boost::filesystem::path& given) const;

private:
    using handle = std::intptr_t;
    static constexpr handle closed = -1;

    handle handle_ = closed;
};

// Whether this is the name of a file that `open` could read if its owner allows it; what cannot be found out counts as
// no. Systems call a device a regular file until it is opened, and a PDB may well be recorded as "NUL".
bool is_file(const boost::filesystem::path& path);

// Gives a file another name in the same directory in one step: nobody sees anything in between. Where `to` exists, it
// is either replaced as a whole or kept and false returned.
bool rename_file(const boost::filesystem::path& from, const boost::filesystem::path& to);

}  // namespace qv
