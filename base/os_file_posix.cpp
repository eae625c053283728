#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdio>
#include <string>

#include "base/os_file.h"

namespace qv {
namespace {

int descriptor_of(std::intptr_t handle) noexcept {
    return static_cast<int>(handle);
}

system_code code_of(int result) noexcept {
    return result == 0 ? 0 : static_cast<system_code>(errno);
}

int flags_of(os_file::mode how) noexcept {
    switch (how) {
        case os_file::mode::replace: return O_WRONLY | O_CREAT | O_TRUNC;
        case os_file::mode::create: return O_WRONLY | O_CREAT | O_EXCL;
        default: return O_RDONLY;
    }
}

bool is_null_device(const struct stat& status) {
    struct stat null {};
    return S_ISCHR(status.st_mode) && ::stat("/dev/null", &null) == 0 && status.st_rdev == null.st_rdev;
}

// Calls `transfer` with the offset and the count of what is left, until nothing is. A transfer of nothing gives
// `if_nothing`.
template <class Transfer>
system_code transfer_all(std::uint64_t offset, std::uint64_t size, system_code if_nothing, Transfer transfer) {
    constexpr std::uint64_t largest = 1u << 30;
    for (std::uint64_t done = 0; done < size;) {
        const auto part = static_cast<std::size_t>(std::min(size - done, largest));
        const ssize_t count = transfer(done, part, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count < 0 ? static_cast<system_code>(errno) : if_nothing;
        done += static_cast<std::uint64_t>(count);
    }
    return 0;
}

}  // namespace

failure_kind kind_of(system_code code) noexcept {
    switch (code) {
        case ENOENT:
        case ENOTDIR: return failure_kind::not_found;
        case EACCES:
        case EPERM: return failure_kind::access_denied;
        case EEXIST: return failure_kind::name_taken;
        default: return failure_kind::other;
    }
}

system_code os_file::open(const boost::filesystem::path& path, mode how) {
    close();
    // Without O_NONBLOCK a FIFO would be waited for.
    handle_ = ::open(path.c_str(), flags_of(how) | O_CLOEXEC | O_NONBLOCK, 0666);
    if (!is_open()) return static_cast<system_code>(errno);
    struct stat status {};
    if (::fstat(descriptor_of(handle_), &status) == 0 &&
        (S_ISREG(status.st_mode) || (how == mode::replace && is_null_device(status))))
        return 0;
    close();
    return S_ISDIR(status.st_mode) ? EISDIR : ENOTSUP;
}

void os_file::close() noexcept {
    if (is_open()) ::close(descriptor_of(std::exchange(handle_, closed)));
}

system_code os_file::read(std::uint64_t offset, void* destination, std::uint64_t size) const noexcept {
    return transfer_all(offset, size, end_of_file, [&](std::uint64_t done, std::size_t part, off_t at) {
        return ::pread(descriptor_of(handle_), static_cast<unsigned char*>(destination) + done, part, at);
    });
}

system_code os_file::write(std::uint64_t offset, const void* source, std::uint64_t size) noexcept {
    return transfer_all(offset, size, ENOSPC, [&](std::uint64_t done, std::size_t part, off_t at) {
        return ::pwrite(descriptor_of(handle_), static_cast<const unsigned char*>(source) + done, part, at);
    });
}

system_code os_file::truncate(std::uint64_t size) noexcept {
    return code_of(::ftruncate(descriptor_of(handle_), static_cast<off_t>(size)));
}

system_code os_file::flush() noexcept {
    return code_of(::fsync(descriptor_of(handle_)));
}

system_code os_file::get_size(std::uint64_t& size) const noexcept {
    struct stat status {};
    if (::fstat(descriptor_of(handle_), &status) != 0) return static_cast<system_code>(errno);
    size = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

system_code os_file::get_version(version& found) const noexcept {
    constexpr std::uint64_t nanoseconds = 1'000'000'000;
    struct stat status {};
    if (::fstat(descriptor_of(handle_), &status) != 0) return static_cast<system_code>(errno);
    found = {static_cast<std::uint64_t>(status.st_size),
             static_cast<std::uint64_t>(status.st_mtim.tv_sec) * nanoseconds +
                 static_cast<std::uint64_t>(status.st_mtim.tv_nsec)};
    return 0;
}

boost::filesystem::path os_file::final_path(const boost::filesystem::path& given) const {
    boost::system::error_code failure;
    auto path = boost::filesystem::read_symlink("/proc/self/fd/" + std::to_string(handle_), failure);
    if (failure) path = boost::filesystem::canonical(given, failure);
    return failure ? given : path;
}

bool is_file(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::is_regular_file(path, ignored);
}

bool rename_file(const boost::filesystem::path& from, const boost::filesystem::path& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace qv
