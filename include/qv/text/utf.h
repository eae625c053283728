// Strict conversion between UTF-8 and UTF-16, without the platform's code pages.
//
// A wide string is a sequence of UTF-16 code units, also where wchar_t has 32 bits. Nothing is replaced or skipped: the
// first malformation throws std::runtime_error with a message that names it, and what was appended before stays.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::text {

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
