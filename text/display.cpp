#include "qv/text/display.h"

#include <cstdint>
#include <type_traits>

#include "qv/text/utf.h"

namespace qv::text {
namespace {

constexpr std::uint32_t replacement_character = 0xFFFD;

bool is_surrogate(std::uint32_t unit, std::uint32_t first) {
    return unit >= first && unit < first + 0x400;
}

std::uint32_t first_unit(std::wstring_view utf16) {
    return static_cast<std::make_unsigned_t<wchar_t>>(utf16.front());
}

// Takes one character off the front of the text; whatever is malformed counts as one replacement character.
std::uint32_t take_code_point(std::wstring_view& utf16) {
    const std::uint32_t unit = first_unit(utf16);
    utf16.remove_prefix(1);
    if (is_surrogate(unit, 0xD800) && !utf16.empty()) {
        const std::uint32_t next = first_unit(utf16);
        if (is_surrogate(next, 0xDC00)) {
            utf16.remove_prefix(1);
            return ((unit - 0xD800) << 10 | (next - 0xDC00)) + 0x10000;
        }
    }
    if (unit > 0xFFFF || (unit >= 0xD800 && unit <= 0xDFFF)) return replacement_character;
    return unit;
}

}  // namespace

std::string display_utf8(std::wstring_view utf16) {
    std::string result;
    result.reserve(utf16.size());
    while (!utf16.empty()) {
        const std::uint32_t code_point = take_code_point(utf16);
        if (code_point < 0x20 && is_line_control(static_cast<char>(code_point)))
            result.push_back(control_substitute);
        else
            code_point_to_utf8(code_point, result);
    }
    return result;
}

}  // namespace qv::text
