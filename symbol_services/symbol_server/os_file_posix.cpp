#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "symbol_services/symbol_server/os_file.h"

namespace qv::symbol_store {
namespace {

constexpr std::size_t longest_transfer = std::size_t{1} << 20;

int to_descriptor(std::intptr_t value) noexcept {
    return static_cast<int>(value);
}

}  // namespace

os_file os_file::open(const boost::filesystem::path& path) {
    // A FIFO would otherwise be waited for.
    os_file file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (file.is_open() && (fstat(to_descriptor(file.handle_), &status) != 0 || !S_ISREG(status.st_mode))) file.close();
    return file;
}

os_file os_file::create(const boost::filesystem::path& path) {
    constexpr mode_t readable = 0666;
    return os_file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readable));
}

std::optional<std::uint64_t> os_file::size() const noexcept {
    struct stat status = {};
    if (!is_open() || fstat(to_descriptor(handle_), &status) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

bool os_file::read(void* destination, std::size_t size) noexcept {
    auto* next = static_cast<char*>(destination);
    while (size != 0) {
        const auto count = ::read(to_descriptor(handle_), next, std::min(size, longest_transfer));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool os_file::write(const void* source, std::size_t size) noexcept {
    const auto* next = static_cast<const char*>(source);
    while (size != 0) {
        const auto count = ::write(to_descriptor(handle_), next, std::min(size, longest_transfer));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool os_file::flush() noexcept {
    return fsync(to_descriptor(handle_)) == 0;
}

void os_file::close() noexcept {
    if (is_open()) ::close(to_descriptor(std::exchange(handle_, closed)));
}

bool rename_file(const boost::filesystem::path& from, const boost::filesystem::path& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

bool is_name_taken() noexcept {
    return errno == EEXIST;
}

std::uint32_t current_process_id() noexcept {
    return static_cast<std::uint32_t>(getpid());
}

}  // namespace qv::symbol_store
