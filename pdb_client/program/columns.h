// The words and columns that all tables share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qv::profiler::pdb_client {

constexpr std::size_t page_width = 100;  // of what is shown, wherever names allow it

// Blanks on the left or on the right, up to this width.
std::string right(const std::string& text, std::size_t width);
std::string left(const std::string& text, std::size_t width);

std::string without_trailing_blanks(std::string text);

// "1 point", "2 points"
std::string counted(std::size_t count, const std::string& noun);

// "IL_012c", with more digits where these are needed.
std::string offset_text(std::uint32_t offset);

// The last part of a path, printable.
std::string file_name(std::wstring_view path);

}  // namespace qv::profiler::pdb_client
