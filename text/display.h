// Text for people to read: converting to it never fails, and nothing in it breaks a line.
//
// For diagnostics only. Where a text is compared, stored or sent, the strict conversions of utf.h are the right ones.
#pragma once

#include <string>
#include <string_view>

namespace qv::text {

// What is shown of a text that is not there.
constexpr const char* null_text = "<nullptr>";

// What stands in for each control character.
constexpr char control_substitute = '\x7F';

// Whether the byte must not reach a line of text: a control character other than TAB.
constexpr bool is_line_control(char byte) noexcept {
    return static_cast<unsigned char>(byte) < 0x20 && byte != '\t';
}

// UTF-8 of the text. What is no UTF-16 becomes U+FFFD, one for each unit; control characters are substituted.
std::string display_utf8(std::wstring_view utf16);

}  // namespace qv::text
