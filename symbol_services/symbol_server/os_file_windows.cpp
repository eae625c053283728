#include <windows.h>

#include <algorithm>

#include "qv/text/path.h"
#include "symbol_services/symbol_server/os_file.h"

namespace qv::symbol_store {
namespace {

// One call transfers at most a DWORD of bytes.
constexpr std::size_t longest_transfer = std::size_t{1} << 20;

HANDLE to_handle(std::intptr_t value) noexcept {
    return reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

os_file os_file::open(const boost::filesystem::path& path) {
    // A path may lead to somebody else's pipe; its owner must not act in our name.
    os_file file(reinterpret_cast<handle>(CreateFileW(
        text::to_system_path(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
        FILE_FLAG_SEQUENTIAL_SCAN | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr)));
    if (file.is_open() && GetFileType(to_handle(file.handle_)) != FILE_TYPE_DISK) file.close();
    return file;
}

os_file os_file::create(const boost::filesystem::path& path) {
    return os_file(reinterpret_cast<handle>(CreateFileW(text::to_system_path(path).c_str(), GENERIC_WRITE, 0, nullptr,
                                                        CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

std::optional<std::uint64_t> os_file::size() const noexcept {
    LARGE_INTEGER size;
    if (!is_open() || !GetFileSizeEx(to_handle(handle_), &size)) return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
}

bool os_file::read(void* destination, std::size_t size) noexcept {
    auto* next = static_cast<char*>(destination);
    while (size != 0) {
        DWORD count = 0;
        const auto step = static_cast<DWORD>(std::min(size, longest_transfer));
        if (!ReadFile(to_handle(handle_), next, step, &count, nullptr) || count == 0) return false;
        next += count;
        size -= count;
    }
    return true;
}

bool os_file::write(const void* source, std::size_t size) noexcept {
    const auto* next = static_cast<const char*>(source);
    while (size != 0) {
        DWORD count = 0;
        const auto step = static_cast<DWORD>(std::min(size, longest_transfer));
        if (!WriteFile(to_handle(handle_), next, step, &count, nullptr) || count == 0) return false;
        next += count;
        size -= count;
    }
    return true;
}

bool os_file::flush() noexcept {
    return FlushFileBuffers(to_handle(handle_)) != FALSE;
}

void os_file::close() noexcept {
    if (is_open()) CloseHandle(to_handle(std::exchange(handle_, closed)));
}

bool rename_file(const boost::filesystem::path& from, const boost::filesystem::path& to) {
    return MoveFileExW(text::to_system_path(from).c_str(), text::to_system_path(to).c_str(), MOVEFILE_WRITE_THROUGH) !=
           FALSE;
}

bool is_name_taken() noexcept {
    return GetLastError() == ERROR_FILE_EXISTS;
}

std::uint32_t current_process_id() noexcept {
    return GetCurrentProcessId();
}

}  // namespace qv::symbol_store
