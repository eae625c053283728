#include "pdb_client/program/source_lines.h"

#include <algorithm>
#include <iterator>

#include "pdb_client/program/display_text.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::size_t tab_width = 4;
constexpr std::size_t max_cells = 400;

// Characters of two cells: those of East Asian scripts (Unicode Standard Annex 11), roughly, and pictures.
bool is_wide(std::uint32_t code) {
    constexpr std::pair<std::uint32_t, std::uint32_t> ranges[] = {
        {0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
        {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [code](const auto& range) { return code >= range.first && code <= range.second; });
}

std::uint32_t code_point(std::wstring_view character) {
    const auto first = static_cast<std::uint32_t>(static_cast<char32_t>(character[0]));
    if (character.size() == 1) return first;
    return 0x10000 + ((first - 0xD800) << 10) + (static_cast<std::uint32_t>(character[1]) - 0xDC00);
}

std::size_t cells_of(std::wstring_view character, const std::string& shown) {
    if (shown.starts_with('\\') && character[0] != L'\\') return shown.size();  // an escape
    return is_wide(code_point(character)) ? 2 : 1;
}

std::wstring utf16_of(std::string_view bytes, bool big_endian) {
    std::wstring text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        text += static_cast<wchar_t>(big_endian ? first << 8 | second : second << 8 | first);
    }
    return text;
}

std::wstring decode(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xFE")) return utf16_of(bytes.substr(2), false);
    if (bytes.starts_with("\xFE\xFF")) return utf16_of(bytes.substr(2), true);
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
    if (is_utf8(bytes)) return text::to_utf16(std::string(bytes));
    std::wstring latin;
    for (const char c : bytes) latin += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return latin;
}

}  // namespace

shown_line::shown_line(std::wstring_view line) {
    std::size_t cell = 0;
    bool only_blanks = true;
    while (!line.empty()) {
        const std::size_t units = text::begins_with_pair(line) ? 2 : 1;
        const std::wstring_view character = line.substr(0, units);
        const bool is_tab = character[0] == L'\t';
        const std::string shown = is_tab ? std::string(tab_width - cell % tab_width, ' ') : printable(character);
        if (only_blanks && !is_tab && character[0] != L' ') {
            first_cell_ = cell;
            only_blanks = false;
        }
        if (cell >= max_cells) {
            text_ += "...";
            break;
        }
        cells_.insert(cells_.end(), units, cell);
        cell += is_tab ? shown.size() : cells_of(character, shown);
        text_ += shown;
        line.remove_prefix(units);
    }
    cells_.push_back(cell);
}

std::size_t shown_line::cell_of(std::uint32_t column) const {
    return cells_[std::min<std::size_t>(column == 0 ? 0 : column - 1, cells_.size() - 1)];
}

// C# and Visual Basic end lines with CR, LF or both, and with the separators of Unicode.
source_lines::source_lines(std::string_view bytes) : text_(decode(bytes)) {
    std::size_t begin = 0;
    while (begin <= text_.size()) {
        const std::size_t end = std::min(text_.find_first_of(L"\r\n\x85\x2028\x2029", begin), text_.size());
        begins_.push_back(begin);
        ends_.push_back(end);
        begin = end + (text_.compare(end, 2, L"\r\n") == 0 ? 2 : 1);
    }
}

std::wstring_view source_lines::operator[](std::size_t number) const {
    return std::wstring_view(text_).substr(begins_[number - 1], ends_[number - 1] - begins_[number - 1]);
}

}  // namespace qv::profiler::pdb_client
