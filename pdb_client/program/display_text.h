// Turns text from images, symbol files and servers into text that is safe to show: valid UTF-8 on one line, without
// control characters that would move a terminal's cursor, change its colours or reverse the writing direction.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "base/guid.h"

namespace qv::profiler::pdb_client {

// What must not be shown appears as "\x1b" or "\u202e".
std::string printable(std::wstring_view utf16);

// The same for bytes that may be UTF-8; otherwise every byte above 0x7F appears as "\x..".
std::string printable(std::string_view bytes);

// The same for a text of many lines: tabs and line ends ("\n" and "\r\n") are kept.
std::string printable_lines(std::string_view bytes);

// True for UTF-8 without NUL, in the shortest forms: what JSON can hold as text.
bool is_utf8(std::string_view bytes);

// The last characters of a printable text, after "..." when it has more characters than `width`.
std::string keep_tail(const std::string& text, std::size_t width);

// "0x06000005"
std::string token_text(std::uint32_t token);

// "7d3be11c-9bd2-4ca7-a626-1c82b93935a9"
std::string guid_text(const GUID& value);

// Lower-case digits, two for each byte.
std::string hex_text(const std::vector<std::uint8_t>& bytes);

// "SHA-1", "SHA-256", "MD5", or the GUID of an algorithm without a name.
std::string algorithm_name(const GUID& algorithm);

}  // namespace qv::profiler::pdb_client
