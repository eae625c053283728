// The text of a source file in lines, as compilers count them, and as they are shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::profiler::pdb_client {

// A line fit for a terminal: tabs are blanks, and what is long is cut.
class shown_line {
public:
    explicit shown_line(std::wstring_view line);

    const std::string& text() const noexcept { return text_; }

    // Where the character of a column stands, in cells of the terminal; columns count UTF-16 units from 1, as symbols
    // do. What lies behind the end stands there.
    std::size_t cell_of(std::uint32_t column) const;

    // Of the first character that is no blank.
    std::size_t first_cell() const noexcept { return first_cell_; }
    std::size_t end_cell() const noexcept { return cells_.back(); }

private:
    std::string text_;
    std::vector<std::size_t> cells_;  // where each unit begins, and the end
    std::size_t first_cell_ = 0;
};

class source_lines {
public:
    // UTF-8 or UTF-16, the latter with a byte order mark; other bytes are taken for Latin-1.
    explicit source_lines(std::string_view bytes);

    std::size_t size() const noexcept { return ends_.size(); }

    // Counted from 1.
    std::wstring_view operator[](std::size_t number) const;

private:
    std::wstring text_;
    std::vector<std::size_t> begins_;
    std::vector<std::size_t> ends_;  // without the line end
};

}  // namespace qv::profiler::pdb_client
