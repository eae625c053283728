#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <stdexcept>
#include <string>

#include "core/src/stream/FileNativeStream.h"
#include "core/src/stream/FileNativeStream_source.h"
#include "qv/diagnostics/exception.h"
#include "qv/text/path.h"

namespace qv {
namespace {

namespace function = detail::file_native_stream_function;
namespace message = detail::file_native_stream_message;
constexpr const char* source_name = detail::file_native_stream_source;

[[noreturn]] void fail(const char* message, int code, const char* in, unsigned line) {
    throw_win32_error(message, static_cast<std::uint32_t>(code), in, source_name, line);
}

// The path for an error record; bytes that are no UTF-8 cannot be shown.
std::wstring shown(const boost::filesystem::path& path) {
    try {
        return text::to_wide(path);
    } catch (const std::runtime_error&) {
        return {};
    }
}

bool is_null_device(const struct stat& status) {
    struct stat null {};
    return S_ISCHR(status.st_mode) && ::stat("/dev/null", &null) == 0 && status.st_rdev == null.st_rdev;
}

int open_regular_file(const boost::filesystem::path& path, int flags, const char* message, const char* in) {
    // Without O_NONBLOCK a FIFO would be waited for.
    const int handle = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666);
    int code = errno;
    if (handle >= 0) {
        struct stat status {};
        if (::fstat(handle, &status) == 0 &&
            (S_ISREG(status.st_mode) || ((flags & O_WRONLY) != 0 && is_null_device(status))))
            return handle;
        code = S_ISDIR(status.st_mode) ? EISDIR : ENOTSUP;
        ::close(handle);
    }
    throw_win32_error(message, static_cast<std::uint32_t>(code), in, source_name, __LINE__, errtag_file_w{shown(path)});
}

boost::filesystem::path final_path_of(int handle, const boost::filesystem::path& given) {
    boost::system::error_code failure;
    auto path = boost::filesystem::read_symlink("/proc/self/fd/" + std::to_string(handle), failure);
    if (failure) path = boost::filesystem::canonical(given, failure);
    return failure ? given : path;
}

std::size_t part_of(std::uint64_t size) {
    constexpr std::uint64_t largest = 1u << 30;
    return static_cast<std::size_t>(std::min(size, largest));
}

}  // namespace

void FileNativeStream::Create(const boost::filesystem::path& path) {
    Close();
    handle_ = open_regular_file(path, O_WRONLY | O_CREAT | O_TRUNC, message::create, function::create);
    given_path_ = path;
}

void FileNativeStream::Open(const boost::filesystem::path& path) {
    Close();
    handle_ = open_regular_file(path, O_RDONLY, message::open, function::open);
    given_path_ = path;
}

boost::filesystem::path FileNativeStream::FinalPath() const {
    return IsOpen() ? final_path_of(handle_, given_path_) : boost::filesystem::path();
}

std::uint64_t FileNativeStream::GetSize() const {
    require_open(function::get_size, __LINE__);
    struct stat status;
    if (::fstat(handle_, &status) != 0) fail(message::size, errno, function::get_size, __LINE__);
    return static_cast<std::uint64_t>(status.st_size);
}

void FileNativeStream::Read(void* destination, std::uint64_t size) {
    require_open(function::read, __LINE__);
    auto* bytes = static_cast<unsigned char*>(destination);
    for (std::uint64_t done = 0; done < size;) {
        const ssize_t count =
            ::pread(handle_, bytes + done, part_of(size - done), static_cast<off_t>(position_ + done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(message::read, errno, function::read, __LINE__);
        if (count == 0) throw_error(no_data_message, function::read, source_name, __LINE__);
        done += static_cast<std::uint64_t>(count);
    }
    position_ += size;
}

void FileNativeStream::Write(const void* source, std::uint64_t size) {
    require_open(function::write, __LINE__);
    const auto* bytes = static_cast<const unsigned char*>(source);
    for (std::uint64_t done = 0; done < size;) {
        const ssize_t count =
            ::pwrite(handle_, bytes + done, part_of(size - done), static_cast<off_t>(position_ + done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) fail(message::write, count < 0 ? errno : ENOSPC, function::write, __LINE__);
        done += static_cast<std::uint64_t>(count);
    }
    position_ += size;
}

void FileNativeStream::Truncate() {
    require_open(function::truncate, __LINE__);
    if (::ftruncate(handle_, static_cast<off_t>(position_)) != 0)
        fail(message::truncate, errno, function::truncate, __LINE__);
}

void FileNativeStream::Flush() {
    require_open(function::flush, __LINE__);
    if (::fsync(handle_) != 0) fail(message::flush, errno, function::flush, __LINE__);
}

void FileNativeStream::Close() noexcept {
    if (IsOpen()) ::close(handle_);
    handle_ = no_handle;
    position_ = 0;
    given_path_.clear();
}

}  // namespace qv
