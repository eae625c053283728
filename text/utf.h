// Strict conversion between UTF-8 and UTF-16, without the platform's code pages.
//
// A wide string is a sequence of UTF-16 code units, also where wchar_t has 32 bits. Nothing is replaced or skipped: the
// first malformation throws std::runtime_error with a message that names it, and what was appended before stays.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::text {

// Of code units and code points.
template <class Unit>
constexpr bool is_high_surrogate(Unit unit) noexcept {
    return (static_cast<std::uint32_t>(unit) & 0xFFFFFC00) == 0xD800;
}
template <class Unit>
constexpr bool is_low_surrogate(Unit unit) noexcept {
    return (static_cast<std::uint32_t>(unit) & 0xFFFFFC00) == 0xDC00;
}
template <class Unit>
constexpr bool is_surrogate(Unit unit) noexcept {
    return is_high_surrogate(unit) || is_low_surrogate(unit);
}

// Whether the first two units are one character.
constexpr bool begins_with_pair(std::wstring_view utf16) noexcept {
    return utf16.size() >= 2 && is_high_surrogate(utf16[0]) && is_low_surrogate(utf16[1]);
}
// That character.
constexpr std::uint32_t combine_surrogates(std::uint32_t high, std::uint32_t low) noexcept {
    return ((high - 0xD800) << 10 | (low - 0xDC00)) + 0x10000;
}

// How many bytes a character has, by its lead byte: 1 to 6. Throws std::runtime_error for a byte that begins none.
unsigned utf8_length(unsigned char lead);

// Appends the UTF-16 form of the NUL-terminated `utf8`; returns the position after the terminator. An overlong NUL
// terminates too, other overlong forms are accepted.
const char* utf8_to_utf16(const char* utf8, std::wstring& utf16);

// Appends the code point in the historical form of up to six bytes; surrogate values are not rejected here.
void code_point_to_utf8(std::uint32_t code_point, std::string& utf8);

// Appends the UTF-8 form of the NUL-terminated `utf16`; returns the position after the terminator.
const wchar_t* utf16_to_utf8(const wchar_t* utf16, std::string& utf8);

// Appends the UTF-8 form of the units in [begin, end).
void utf16_to_utf8(const wchar_t* begin, const wchar_t* end, std::string& utf8);

// The whole conversion as a value. `to_utf16` stops at the first NUL, as the terminated form does.
std::wstring to_utf16(const std::string& utf8);
std::string to_utf8(std::wstring_view utf16);

}  // namespace qv::text
