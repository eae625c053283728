// ASCII letters without regard to case, within text of any encoding that extends ASCII. No locale takes part.
#pragma once

#include <algorithm>
#include <string_view>

namespace qv::text {

template <class Char>
constexpr Char to_ascii_lower(Char unit) noexcept {
    return unit >= 'A' && unit <= 'Z' ? static_cast<Char>(unit - 'A' + 'a') : unit;
}

// `text` is a string or a view of narrow or wide characters.
template <class Text>
constexpr bool equal_ignoring_case(const Text& text, std::string_view ascii) noexcept {
    return std::equal(text.begin(), text.end(), ascii.begin(), ascii.end(), [](auto unit, char wanted) {
        return to_ascii_lower(unit) == static_cast<decltype(unit)>(to_ascii_lower(wanted));
    });
}

// The same of two texts.
constexpr bool equal_ignoring_case(std::wstring_view left, std::wstring_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t one, wchar_t other) { return to_ascii_lower(one) == to_ascii_lower(other); });
}

template <class Text>
constexpr bool starts_with_ignoring_case(const Text& text, std::string_view prefix) noexcept {
    return equal_ignoring_case(text.substr(0, prefix.size()), prefix);
}

}  // namespace qv::text
