#include "pdb_client/program/console_output.h"

#include <windows.h>

#include <algorithm>
#include <string>

#include "qv/text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::size_t max_part = 8192;  // a console refuses long texts

template <class Character, class Put>
bool write_all(const Character* text, std::size_t size, Put put) {
    while (size != 0) {
        DWORD written = 0;
        if (!put(text, static_cast<DWORD>(std::min(size, max_part)), &written) || written == 0) return false;
        text += written;
        size -= written;
    }
    return true;
}

bool write(HANDLE to, std::string_view utf8) {
    DWORD mode = 0;
    if (!::GetConsoleMode(to, &mode))
        return write_all(utf8.data(), utf8.size(), [to](const char* text, DWORD size, DWORD* written) {
            return ::WriteFile(to, text, size, written, nullptr) != FALSE;
        });
    const std::wstring utf16 = text::to_utf16(std::string(utf8));
    return write_all(utf16.data(), utf16.size(), [to](const wchar_t* text, DWORD size, DWORD* written) {
        return ::WriteConsoleW(to, text, size, written, nullptr) != FALSE;
    });
}

}  // namespace

bool write_output(std::string_view utf8) {
    return write(::GetStdHandle(STD_OUTPUT_HANDLE), utf8);
}

bool write_messages(std::string_view utf8) {
    return write(::GetStdHandle(STD_ERROR_HANDLE), utf8);
}

}  // namespace qv::profiler::pdb_client
