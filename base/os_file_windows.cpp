#include <windows.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <locale>
#include <string>

#include "base/fill_buffer.h"
#include "base/os_file.h"
#include "text/path.h"

namespace qv {
namespace {

HANDLE handle_of(std::intptr_t value) noexcept {
    return reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
}

system_code code_of(BOOL success) noexcept {
    return success ? 0 : GetLastError();
}

// What CreateFileW is asked for.
struct opening {
    DWORD access;
    DWORD sharing;
    DWORD disposition;
    DWORD flags;
};

opening opening_of(os_file::mode how) noexcept {
    constexpr DWORD share_moves = FILE_SHARE_READ | FILE_SHARE_DELETE;
    switch (how) {
        case os_file::mode::copy: return {GENERIC_READ, share_moves, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN};
        case os_file::mode::replace: return {GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL};
        case os_file::mode::create: return {GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_NORMAL};
        default: return {GENERIC_READ, share_moves | FILE_SHARE_WRITE, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL};
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

bool may_be_opened(HANDLE handle, const boost::filesystem::path& path, os_file::mode how) {
    switch (GetFileType(handle)) {
        case FILE_TYPE_DISK: return true;
        case FILE_TYPE_CHAR: return how == os_file::mode::replace && is_null_device(path);
        default: return false;
    }
}

// Takes the "\\?\" off a final path: people and other programs write paths without it.
std::wstring without_prefix(const std::wstring& path) {
    if (path.starts_with(L"\\\\?\\UNC\\")) return L"\\\\" + path.substr(8);
    if (path.starts_with(L"\\\\?\\")) return path.substr(4);
    return path;
}

// Calls `transfer` with the count of what is left and its place in the file, until nothing is. A transfer of nothing
// gives `if_nothing`.
template <class Transfer>
system_code transfer_all(std::uint64_t offset, std::uint64_t size, system_code if_nothing, Transfer transfer) {
    constexpr std::uint64_t largest = 1u << 30;  // the system counts in 32 bits
    for (std::uint64_t done = 0; done < size;) {
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(offset + done);
        place.OffsetHigh = static_cast<DWORD>((offset + done) >> 32);
        DWORD count = 0;
        if (!transfer(done, static_cast<DWORD>(std::min(size - done, largest)), &count, &place)) {
            const DWORD code = GetLastError();
            return code == ERROR_HANDLE_EOF ? if_nothing : code;
        }
        if (count == 0) return if_nothing;
        done += count;
    }
    return 0;
}

}  // namespace

failure_kind kind_of(system_code code) noexcept {
    switch (code) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
        case ERROR_NOT_READY: return failure_kind::not_found;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION: return failure_kind::access_denied;
        case ERROR_FILE_EXISTS: return failure_kind::name_taken;
        default: return failure_kind::other;
    }
}

system_code os_file::open(const boost::filesystem::path& path, mode how) {
    close();
    // A path may lead to somebody else's pipe; its owner must not act in our name.
    constexpr DWORD identification = SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
    const auto [access, sharing, disposition, flags] = opening_of(how);
    const auto name = text::to_system_path(path);
    handle_ = reinterpret_cast<handle>(
        CreateFileW(name.c_str(), access, sharing, nullptr, disposition, flags | identification, nullptr));
    if (!is_open()) return GetLastError();
    if (may_be_opened(handle_of(handle_), path, how)) return 0;
    close();
    return ERROR_NOT_SUPPORTED;
}

void os_file::close() noexcept {
    if (is_open()) CloseHandle(handle_of(std::exchange(handle_, closed)));
}

system_code os_file::read(std::uint64_t offset, void* destination, std::uint64_t size) const noexcept {
    return transfer_all(offset, size, end_of_file, [&](std::uint64_t done, DWORD part, DWORD* count, OVERLAPPED* at) {
        return ReadFile(handle_of(handle_), static_cast<unsigned char*>(destination) + done, part, count, at);
    });
}

system_code os_file::write(std::uint64_t offset, const void* source, std::uint64_t size) noexcept {
    return transfer_all(
        offset, size, ERROR_DISK_FULL, [&](std::uint64_t done, DWORD part, DWORD* count, OVERLAPPED* at) {
            return WriteFile(handle_of(handle_), static_cast<const unsigned char*>(source) + done, part, count, at);
        });
}

system_code os_file::truncate(std::uint64_t size) noexcept {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    return code_of(SetFileInformationByHandle(handle_of(handle_), FileEndOfFileInfo, &end, sizeof end));
}

system_code os_file::flush() noexcept {
    return code_of(FlushFileBuffers(handle_of(handle_)));
}

system_code os_file::get_size(std::uint64_t& size) const noexcept {
    LARGE_INTEGER found{};
    const system_code code = code_of(GetFileSizeEx(handle_of(handle_), &found));
    size = static_cast<std::uint64_t>(found.QuadPart);
    return code;
}

system_code os_file::get_version(version& found) const noexcept {
    BY_HANDLE_FILE_INFORMATION information{};
    const system_code code = code_of(GetFileInformationByHandle(handle_of(handle_), &information));
    const FILETIME& written = information.ftLastWriteTime;
    found = {std::uint64_t{information.nFileSizeHigh} << 32 | information.nFileSizeLow,
             std::uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime};
    return code;
}

boost::filesystem::path os_file::final_path(const boost::filesystem::path& given) const {
    const auto final = fill_buffer([&](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(handle_of(handle_), buffer, size, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    });
    if (!final.empty()) return without_prefix(final);
    // Some file systems know no final path: the absolute one is the next best.
    const auto full = full_path_of(given);
    return full.empty() ? given : boost::filesystem::path(full);
}

bool is_file(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::is_regular_file(text::to_system_path(path), ignored) &&
           os_file().open(path, os_file::mode::read) != ERROR_NOT_SUPPORTED;
}

bool rename_file(const boost::filesystem::path& from, const boost::filesystem::path& to) {
    return MoveFileExW(text::to_system_path(from).c_str(), text::to_system_path(to).c_str(), MOVEFILE_WRITE_THROUGH) !=
           FALSE;
}

}  // namespace qv
