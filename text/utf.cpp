#include "text/utf.h"

#include <stdexcept>
#include <type_traits>

namespace qv::text {
namespace {

// A terminator inside a character is no continuation byte, so decoding never runs past it.
std::uint32_t decode_utf8(const char*& position) {
    const auto lead = static_cast<unsigned char>(*position++);
    const unsigned length = utf8_length(lead);
    // The longer the character, the fewer bits of it are in its lead byte.
    std::uint32_t value = length == 1 ? lead : lead & (0x7Fu >> length);
    for (unsigned i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(*position);
        if ((byte & 0xC0) != 0x80) throw std::runtime_error("Invalid UTF8 slave symbol");
        ++position;
        value = (value << 6) | (byte & 0x3Fu);
    }
    return value;
}

void append_utf16(std::uint32_t code_point, std::wstring& utf16) {
    if (is_surrogate(code_point)) throw std::runtime_error("Surrogate code point detected");
    if (code_point >= 0x110000) throw std::runtime_error("Unsupported UTF16 code point");
    if (code_point < 0x10000) {
        utf16.push_back(static_cast<wchar_t>(code_point));
        return;
    }
    utf16.push_back(static_cast<wchar_t>(0xD800 + ((code_point - 0x10000) >> 10)));
    utf16.push_back(static_cast<wchar_t>(0xDC00 + ((code_point - 0x10000) & 0x3FF)));
}

// The code unit's number; wchar_t may be signed.
std::uint32_t number_of(wchar_t unit) {
    return static_cast<std::make_unsigned_t<wchar_t>>(unit);
}

std::uint32_t combine_pair(std::uint32_t high, std::uint32_t low) {
    if (!is_low_surrogate(low)) throw std::runtime_error("Invalid UTF16 slave symbol");
    return combine_surrogates(high, low);
}

void reject_leading_low_surrogate(std::uint32_t unit) {
    if (is_low_surrogate(unit)) throw std::runtime_error("Unexpected UTF16 slave symbol at master position");
}

}  // namespace

unsigned utf8_length(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC0) throw std::runtime_error("Unexpected UTF8 slave symbol at master position");
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    if (lead < 0xF8) return 4;
    if (lead < 0xFC) return 5;
    if (lead < 0xFE) return 6;
    throw std::runtime_error("Invalid UTF8 master symbol");
}

const char* utf8_to_utf16(const char* utf8, std::wstring& utf16) {
    while (const std::uint32_t code_point = decode_utf8(utf8)) append_utf16(code_point, utf16);
    return utf8;
}

void code_point_to_utf8(std::uint32_t code_point, std::string& utf8) {
    struct form {
        std::uint32_t limit;
        std::uint32_t lead;
        int continuations;
    };
    static constexpr form forms[] = {{0x80, 0x00, 0},     {0x800, 0xC0, 1},     {0x10000, 0xE0, 2},
                                     {0x200000, 0xF0, 3}, {0x4000000, 0xF8, 4}, {0x80000000, 0xFC, 5}};
    for (const form& f : forms) {
        if (code_point >= f.limit) continue;
        utf8.push_back(static_cast<char>(f.lead | (code_point >> (6 * f.continuations))));
        for (int i = f.continuations - 1; i >= 0; --i)
            utf8.push_back(static_cast<char>(0x80 | ((code_point >> (6 * i)) & 0x3F)));
        return;
    }
    throw std::runtime_error("Unsupported UTF8 code point");
}

const wchar_t* utf16_to_utf8(const wchar_t* utf16, std::string& utf8) {
    while (const std::uint32_t unit = number_of(*utf16++)) {
        reject_leading_low_surrogate(unit);
        if (is_high_surrogate(unit)) {
            // A terminator here is no low surrogate, so the position never passes it.
            code_point_to_utf8(combine_pair(unit, number_of(*utf16)), utf8);
            ++utf16;
        } else {
            code_point_to_utf8(unit, utf8);
        }
    }
    return utf16;
}

void utf16_to_utf8(const wchar_t* begin, const wchar_t* end, std::string& utf8) {
    while (begin != end) {
        const std::uint32_t unit = number_of(*begin++);
        reject_leading_low_surrogate(unit);
        if (is_high_surrogate(unit)) {
            if (begin == end) throw std::runtime_error("Not enough input");
            code_point_to_utf8(combine_pair(unit, number_of(*begin++)), utf8);
        } else {
            code_point_to_utf8(unit, utf8);
        }
    }
}

std::wstring to_utf16(const std::string& utf8) {
    std::wstring result;
    utf8_to_utf16(utf8.c_str(), result);
    return result;
}

std::string to_utf8(std::wstring_view utf16) {
    std::string result;
    utf16_to_utf8(utf16.data(), utf16.data() + utf16.size(), result);
    return result;
}

}  // namespace qv::text
