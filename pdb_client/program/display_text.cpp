#include "pdb_client/program/display_text.h"

#include <algorithm>
#include <stdexcept>

#include "pdb_client/program/file_checksum.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

std::string hex_digits(std::uint32_t value, int digits) {
    std::string text;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        text.push_back("0123456789abcdef"[(value >> shift) & 0xF]);
    return text;
}

std::string escape(std::uint32_t unit) {
    return unit < 0x100 ? "\\x" + hex_digits(unit, 2) : "\\u" + hex_digits(unit, 4);
}

// Controls, line and paragraph separators, and the marks that set the writing direction.
bool is_control(std::uint32_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x61C || unit == 0x200E || unit == 0x200F ||
           (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0xFEFF;
}

bool is_line_end(std::string_view text) {
    return text.substr(0, 1) == "\n" || text.substr(0, 2) == "\r\n";
}

std::string printable_part(std::string_view bytes) {
    if (is_utf8(bytes)) return printable(std::wstring_view(text::to_utf16(std::string(bytes))));
    std::string result;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80 || is_control(byte))
            result += escape(byte);
        else
            result.push_back(c);
    }
    return result;
}

bool starts_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

}  // namespace

std::string printable(std::wstring_view utf16) {
    std::string result;
    while (!utf16.empty()) {
        const std::uint32_t unit = static_cast<char32_t>(utf16[0]);
        const std::size_t units = text::begins_with_pair(utf16) ? 2 : 1;
        if (units == 1 && (text::is_surrogate(unit) || is_control(unit)))
            result += escape(unit);
        else
            result += text::to_utf8(utf16.substr(0, units));
        utf16.remove_prefix(units);
    }
    return result;
}

std::string printable(std::string_view bytes) {
    return printable_part(bytes);
}

std::string printable_lines(std::string_view bytes) {
    std::string result;
    while (!bytes.empty()) {
        std::size_t length = 0;
        while (length < bytes.size() && bytes[length] != '\t' && !is_line_end(bytes.substr(length))) ++length;
        result += printable_part(bytes.substr(0, length));
        bytes.remove_prefix(length);
        if (is_line_end(bytes)) {
            result += '\n';
            bytes.remove_prefix(bytes[0] == '\r' ? 2 : 1);
        } else if (!bytes.empty()) {
            result += '\t';
            bytes.remove_prefix(1);
        }
    }
    return result;
}

// The conversion accepts longer forms than needed; what it makes of them is not what went in.
bool is_utf8(std::string_view bytes) {
    try {
        return text::to_utf8(text::to_utf16(std::string(bytes))) == bytes;
    } catch (const std::runtime_error&) {
        return false;
    }
}

std::string keep_tail(const std::string& text, std::size_t width) {
    const auto characters = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), starts_character));
    if (characters <= width) return text;
    std::size_t skipped = characters - (std::max<std::size_t>(width, 3) - 3);
    const auto first_kept = std::find_if(text.begin(), text.end(), [&skipped](char c) {
        if (!starts_character(c)) return false;
        return skipped-- == 0;
    });
    return "..." + std::string(first_kept, text.end());
}

std::string token_text(std::uint32_t token) {
    return "0x" + hex_digits(token, 8);
}

std::string guid_text(const GUID& value) {
    const std::string registry_form = quorvex::common::to_string(value);
    return registry_form.substr(1, registry_form.size() - 2);
}

std::string hex_text(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) text += hex_digits(byte, 2);
    return text;
}

std::string algorithm_name(const GUID& algorithm) {
    const checksum_algorithm* const known = find_checksum_algorithm(algorithm);
    return known != nullptr ? known->name : guid_text(algorithm);
}

}  // namespace qv::profiler::pdb_client
