// The few file operations that need the operating system itself: exclusive creation, flushing to disk, renaming.
//
// A file is closed by its destructor. One thread at a time. Failures are answers, not exceptions.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace qv::symbol_store {

class os_file {
public:
    // An existing regular file for reading; anything else is left alone and never waited for. While it is open others
    // cannot write to it where the system can prevent that, but may rename and delete it.
    static os_file open(const boost::filesystem::path& path);

    // A file that did not exist before, for writing, shared with nobody.
    static os_file create(const boost::filesystem::path& path);

    os_file(os_file&& other) noexcept : handle_(std::exchange(other.handle_, closed)) {}
    os_file& operator=(os_file&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    os_file(const os_file&) = delete;
    os_file& operator=(const os_file&) = delete;
    ~os_file() { close(); }

    bool is_open() const noexcept { return handle_ != closed; }

    std::optional<std::uint64_t> size() const noexcept;

    // All of `size` bytes, or false.
    bool read(void* destination, std::size_t size) noexcept;
    bool write(const void* source, std::size_t size) noexcept;

    // Hands everything written to the disk.
    bool flush() noexcept;

    void close() noexcept;

private:
    using handle = std::intptr_t;
    static constexpr handle closed = -1;

    explicit os_file(handle opened) noexcept : handle_(opened) {}

    handle handle_;
};

// Gives a file another name in the same directory in one step: nobody sees anything in between. Where `to` exists, it
// is either replaced as a whole or kept and false returned.
bool rename_file(const boost::filesystem::path& from, const boost::filesystem::path& to);

// Reports whether the last failure of `os_file::create` on this thread was that the name is taken.
bool is_name_taken() noexcept;

std::uint32_t current_process_id() noexcept;

}  // namespace qv::symbol_store
