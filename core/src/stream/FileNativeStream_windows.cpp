#include <windows.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <locale>
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

// What is asked of CreateFileW, and the failure to report when it refuses.
struct opening {
    DWORD access;
    DWORD sharing;
    DWORD disposition;
    const char* message;
    const char* function;
};

// Calls a function that fills a buffer and returns the length needed (with terminator) or filled (without).
template <class Call>
std::wstring fill_buffer(Call call) {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = call(buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) return {};
        const bool fits = length < buffer.size();
        buffer.resize(length);
        if (fits) return buffer;
    }
}

std::wstring full_path_of(const boost::filesystem::path& path) {
    return fill_buffer(
        [&](wchar_t* buffer, DWORD size) { return GetFullPathNameW(path.c_str(), size, buffer, nullptr); });
}

// The system gives all spellings of the device's name the same full path.
bool is_null_device(const boost::filesystem::path& path) {
    return boost::algorithm::iequals(full_path_of(path), L"\\\\.\\NUL", std::locale::classic());
}

bool may_be_opened(HANDLE handle, const boost::filesystem::path& path, const opening& how) {
    switch (GetFileType(handle)) {
        case FILE_TYPE_DISK: return true;
        case FILE_TYPE_CHAR: return how.access == GENERIC_WRITE && is_null_device(path);
        default: return false;
    }
}

HANDLE open_regular_file(const boost::filesystem::path& path, const opening& how) {
    // A path may lead to somebody else's pipe; its owner must not act in our name.
    constexpr DWORD flags = FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
    const auto name = text::to_system_path(path);
    HANDLE handle = CreateFileW(name.c_str(), how.access, how.sharing, nullptr, how.disposition, flags, nullptr);
    DWORD code = GetLastError();
    if (handle != INVALID_HANDLE_VALUE) {
        if (may_be_opened(handle, path, how)) return handle;
        CloseHandle(handle);
        code = ERROR_NOT_SUPPORTED;
    }
    throw_win32_error(how.message, code, how.function, source_name, __LINE__, errtag_file_w{text::to_wide(path)});
}

// Takes the "\\?\" off a final path: people and other programs write paths without it.
std::wstring without_prefix(const std::wstring& path) {
    if (path.starts_with(L"\\\\?\\UNC\\")) return L"\\\\" + path.substr(8);
    if (path.starts_with(L"\\\\?\\")) return path.substr(4);
    return path;
}

boost::filesystem::path final_path_of(HANDLE handle, const boost::filesystem::path& given) {
    const auto final = fill_buffer([&](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(handle, buffer, size, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    });
    if (!final.empty()) return without_prefix(final);
    // Some file systems know no final path: the absolute one is the next best.
    const auto full = full_path_of(given);
    return full.empty() ? given : boost::filesystem::path(full);
}

OVERLAPPED at(std::uint64_t position) {
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(position);
    where.OffsetHigh = static_cast<DWORD>(position >> 32);
    return where;
}

DWORD part_of(std::uint64_t size) {
    constexpr std::uint64_t largest = 1u << 30;
    return static_cast<DWORD>(std::min(size, largest));
}

}  // namespace

void FileNativeStream::Create(const boost::filesystem::path& path) {
    Close();
    handle_ =
        open_regular_file(path, {GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS, message::create, function::create});
    given_path_ = path;
}

void FileNativeStream::Open(const boost::filesystem::path& path) {
    Close();
    handle_ = open_regular_file(path, {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       OPEN_EXISTING, message::open, function::open});
    given_path_ = path;
}

boost::filesystem::path FileNativeStream::FinalPath() const {
    return IsOpen() ? final_path_of(handle_, given_path_) : boost::filesystem::path();
}

std::uint64_t FileNativeStream::GetSize() const {
    require_open(function::get_size, __LINE__);
    LARGE_INTEGER size;
    if (!GetFileSizeEx(handle_, &size))
        throw_win32_error(message::size, GetLastError(), function::get_size, source_name, __LINE__);
    return static_cast<std::uint64_t>(size.QuadPart);
}

void FileNativeStream::Read(void* destination, std::uint64_t size) {
    require_open(function::read, __LINE__);
    auto* bytes = static_cast<unsigned char*>(destination);
    for (std::uint64_t done = 0; done < size;) {
        OVERLAPPED where = at(position_ + done);
        DWORD count = 0;
        if (!ReadFile(handle_, bytes + done, part_of(size - done), &count, &where)) {
            const DWORD code = GetLastError();
            if (code != ERROR_HANDLE_EOF) throw_win32_error(message::read, code, function::read, source_name, __LINE__);
            count = 0;
        }
        if (count == 0) throw_error(no_data_message, function::read, source_name, __LINE__);
        done += count;
    }
    position_ += size;
}

void FileNativeStream::Write(const void* source, std::uint64_t size) {
    require_open(function::write, __LINE__);
    const auto* bytes = static_cast<const unsigned char*>(source);
    for (std::uint64_t done = 0; done < size;) {
        OVERLAPPED where = at(position_ + done);
        DWORD count = 0;
        if (!WriteFile(handle_, bytes + done, part_of(size - done), &count, &where))
            throw_win32_error(message::write, GetLastError(), function::write, source_name, __LINE__);
        if (count == 0) throw_win32_error(message::write, ERROR_DISK_FULL, function::write, source_name, __LINE__);
        done += count;
    }
    position_ += size;
}

void FileNativeStream::Truncate() {
    require_open(function::truncate, __LINE__);
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(position_);
    if (!SetFileInformationByHandle(handle_, FileEndOfFileInfo, &end, sizeof end))
        throw_win32_error(message::truncate, GetLastError(), function::truncate, source_name, __LINE__);
}

void FileNativeStream::Flush() {
    require_open(function::flush, __LINE__);
    if (!FlushFileBuffers(handle_))
        throw_win32_error(message::flush, GetLastError(), function::flush, source_name, __LINE__);
}

void FileNativeStream::Close() noexcept {
    if (IsOpen()) CloseHandle(handle_);
    handle_ = no_handle;
    position_ = 0;
    given_path_.clear();
}

}  // namespace qv
