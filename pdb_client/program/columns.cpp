#include "pdb_client/program/columns.h"

#include <algorithm>

#include "pdb_client/program/display_text.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {

std::string right(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string left(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, text.size()), ' ');
}

std::string without_trailing_blanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string offset_text(std::uint32_t offset) {
    const std::string digits = token_text(offset).substr(2);
    return "IL_" + digits.substr(std::min<std::size_t>(digits.find_first_not_of('0'), 4));
}

std::string file_name(std::wstring_view path) {
    return printable(text::file_name(path));
}

}  // namespace qv::profiler::pdb_client
