#include "text/display.h"

#include <cstdint>
#include <type_traits>

#include "text/utf.h"

namespace qv::text {
namespace {

constexpr std::uint32_t replacement_character = 0xFFFD;

// Takes one character off the front of the text; whatever is malformed counts as one replacement character.
std::uint32_t take_code_point(std::wstring_view& utf16) {
    const auto number_of = [](wchar_t unit) { return static_cast<std::make_unsigned_t<wchar_t>>(unit); };
    const std::uint32_t unit = number_of(utf16[0]);
    if (begins_with_pair(utf16)) {
        const std::uint32_t low = number_of(utf16[1]);
        utf16.remove_prefix(2);
        return combine_surrogates(unit, low);
    }
    utf16.remove_prefix(1);
    return unit > 0xFFFF || is_surrogate(unit) ? replacement_character : unit;
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
