#include "pdb_client/program/console_output.h"

#include <windows.h>

#include <algorithm>
#include <string>

#include "pdb_client/program/display_text.h"
#include "text/utf.h"

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

// A pipe without a reader says so in one of three ways.
void check_written(DWORD code) {
    if (code == ERROR_SUCCESS) return;
    throw output_ended(code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA || code == ERROR_PIPE_NOT_CONNECTED);
}

bool is_set(const wchar_t* variable) {
    return ::GetEnvironmentVariableW(variable, nullptr, 0) > 1;
}

// Escape sequences are shown as colours once the console has been asked for it. Whoever sets NO_COLOR wants none
// (no-color.org); whoever sets CLICOLOR_FORCE wants them in pipes and files too (bixense.com/clicolors).
bool enable_colours(HANDLE handle) {
    DWORD mode = 0;
    if (is_set(L"NO_COLOR")) return false;
    if (!::GetConsoleMode(handle, &mode)) return is_set(L"CLICOLOR_FORCE");
    return ::SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

// Printable, and with a line end at its end.
std::string displayed(std::string_view bytes) {
    std::string text = printable_lines(bytes);
    if (!text.empty() && text.back() != '\n') text += '\n';
    return text;
}

}  // namespace

standard_output::standard_output() : handle_(::GetStdHandle(STD_OUTPUT_HANDLE)), colours_(enable_colours(handle_)) {}

void standard_output::write(std::string_view text) {
    check_written(pdb_client::write(handle_, text));
}

void standard_output::write_verbatim(std::string_view bytes) {
    if (is_console(handle_))
        write(displayed(bytes));
    else
        write(bytes);
}

bool write_messages(std::string_view utf8) {
    return write(::GetStdHandle(STD_ERROR_HANDLE), utf8) == ERROR_SUCCESS;
}

std::size_t terminal_width_of_messages() {
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (!::GetConsoleScreenBufferInfo(::GetStdHandle(STD_ERROR_HANDLE), &screen)) return 0;
    return static_cast<std::size_t>(std::max(0, screen.srWindow.Right - screen.srWindow.Left + 1));
}

}  // namespace qv::profiler::pdb_client
