#include "pdb_client/program/console_output.h"

#include <windows.h>

#include <algorithm>
#include <string>

#include "pdb_client/program/display_text.h"
#include "qv/text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::size_t max_part = 8192;  // a console refuses long texts

// Puts all of a text in parts that `put` says were taken; answers the error that ended it.
template <class Character, class Put>
DWORD write_parts(std::basic_string_view<Character> text, Put put) {
    while (!text.empty()) {
        DWORD written = 0;
        if (!put(text.data(), static_cast<DWORD>(std::min(text.size(), max_part)), &written)) return ::GetLastError();
        if (written == 0) return ERROR_WRITE_FAULT;
        text.remove_prefix(written);
    }
    return ERROR_SUCCESS;
}

DWORD write_bytes(HANDLE to, std::string_view bytes) {
    return write_parts(bytes, [to](const char* text, DWORD size, DWORD* written) {
        return ::WriteFile(to, text, size, written, nullptr) != FALSE;
    });
}

// A console shows a character only when it gets both units of it at once.
DWORD write_characters(HANDLE to, std::string_view utf8) {
    const std::wstring utf16 = text::to_utf16(std::string(utf8));
    return write_parts(std::wstring_view(utf16), [to](const wchar_t* text, DWORD size, DWORD* written) {
        if (size > 1 && text::is_high_surrogate(text[size - 1])) --size;
        return ::WriteConsoleW(to, text, size, written, nullptr) != FALSE;
    });
}

bool is_console(HANDLE handle) {
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != FALSE;
}

DWORD write(HANDLE to, std::string_view utf8) {
    return is_console(to) ? write_characters(to, utf8) : write_bytes(to, utf8);
}

// Printable, and with a line end at its end.
std::string displayed(std::string_view bytes) {
    std::string text = printable_lines(bytes);
    if (!text.empty() && text.back() != '\n') text += '\n';
    return text;
}

}  // namespace

bool write_output(std::string_view output, bool verbatim) {
    const HANDLE to = ::GetStdHandle(STD_OUTPUT_HANDLE);
    const DWORD code = verbatim && is_console(to) ? write_characters(to, displayed(output)) : write(to, output);
    return code == ERROR_SUCCESS || code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA;
}

bool write_messages(std::string_view utf8) {
    return write(::GetStdHandle(STD_ERROR_HANDLE), utf8) == ERROR_SUCCESS;
}

}  // namespace qv::profiler::pdb_client
