#include "pdb_server/src/console.h"

#include <windows.h>

#include <boost/algorithm/string/replace.hpp>
#include <string>

namespace qv::profiler::pdb_server {
namespace {

// What is not UTF-8, such as a system text in an old code page, shows as replacement characters.
std::wstring to_display(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring result(utf8.size(), L'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, result.data(), size);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

}  // namespace

void write_text(console_stream stream, std::string_view utf8) {
    const auto handle = GetStdHandle(stream == console_stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return;
    const std::string text = boost::algorithm::replace_all_copy(std::string(utf8), "\n", "\r\n");
    DWORD mode = 0;
    DWORD written = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring shown = to_display(text);
        WriteConsoleW(handle, shown.data(), static_cast<DWORD>(shown.size()), &written, nullptr);
    } else {
        WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }
}

}  // namespace qv::profiler::pdb_server
