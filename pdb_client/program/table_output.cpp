#include "pdb_client/program/table_output.h"

#include <algorithm>
#include <array>

#include "pdb_client/program/display_text.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::size_t page_width = 100;

std::string right(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string left(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, text.size()), ' ');
}

// "1 point", "2 points"
std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string file_name(const std::wstring& path) {
    return printable(text::file_name(path));
}

std::string offset_text(std::uint32_t offset) {
    const std::string digits = token_text(offset).substr(2);
    return "IL_" + digits.substr(std::min<std::size_t>(digits.find_first_not_of('0'), 4));
}

// "[2]"
std::string bracketed(std::uint32_t id) {
    std::string text("[");
    text += std::to_string(id);
    text += ']';
    return text;
}

// "[2] C:\src\a.cs", cut on the left to fit.
std::string document_label(std::uint32_t id, const std::vector<document_symbols>& documents, std::size_t width) {
    std::string number = bracketed(id);
    const auto found =
        std::lower_bound(documents.begin(), documents.end(), id,
                         [](const document_symbols& entry, std::uint32_t wanted) { return entry.id < wanted; });
    if (found == documents.end() || found->id != id || found->content.url.empty()) return number;
    return number + " " + keep_tail(printable(found->content.url), width - std::min(width, number.size() + 1));
}

// A point as text: offset, start line and column, end line and column. A hidden point has its offset only.
using row = std::array<std::string, 5>;

row to_row(const sequence_point& point) {
    const source_range& range = point.range;
    if (range.hidden()) return {offset_text(point.offset)};
    return {offset_text(point.offset), std::to_string(range.start_line), std::to_string(range.start_column),
            std::to_string(range.end_line), std::to_string(range.end_column)};
}

// Aligns the cells of a method's points with each other.
class point_table {
public:
    explicit point_table(const std::vector<sequence_point>& points) {
        std::transform(points.begin(), points.end(), std::back_inserter(rows_), to_row);
        for (const row& r : rows_)
            for (std::size_t i = 0; i < r.size(); ++i) widths_[i] = std::max(widths_[i], r[i].size());
        range_width_ = std::max(hidden_word.size(), widths_[1] + widths_[2] + widths_[3] + widths_[4] + 5);
    }

    // "IL_0000   7:5  - 7:16"; blanks at the end fill the column.
    std::string line(std::size_t index) const {
        const row& r = rows_[index];
        const std::string range = r[1].empty() ? hidden_word
                                               : right(r[1], widths_[1]) + ":" + left(r[2], widths_[2]) + " - " +
                                                     right(r[3], widths_[3]) + ":" + r[4];
        return left(r[0], widths_[0]) + "  " + left(range, range_width_);
    }

private:
    inline static const std::string hidden_word = "hidden";

    std::vector<row> rows_;
    std::array<std::size_t, 5> widths_{};
    std::size_t range_width_;
};

std::string without_trailing_blanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string header(const module_symbols& symbols) {
    std::size_t with_points = 0;
    std::size_t points = 0;
    for (const method_symbols& method : *symbols.methods) {
        with_points += method.points.empty() ? 0u : 1u;
        points += method.points.size();
    }
    std::string text = file_name(symbols.module.path) + "  MVID " + guid_text(symbols.module.mvid) + "\n";
    text += counted(symbols.module.method_rows, "method") + ", " + std::to_string(with_points) +
            " with sequence points; " + counted(points, "point") + " in " +
            counted(symbols.documents->size(), "document");
    if (symbols.source_server && !symbols.source_server->data.empty())
        text += "; " + counted(symbols.source_server->data.size(), "byte") + " of source server data";
    return text + "\n";
}

}  // namespace

std::string method_table_text(const method_symbols& method, const std::vector<document_symbols>& documents) {
    const std::string title = token_text(method.token) + "  ";
    if (method.points.empty()) return title + "no sequence points\n";

    const std::uint32_t first = method.points[0].range.document_id;
    const bool one_document = std::all_of(method.points.begin(), method.points.end(),
                                          [first](const auto& p) { return p.range.document_id == first; });
    std::string text = title;
    text += one_document ? document_label(first, documents, page_width - title.size()) : "several documents";
    text += "\n";
    const point_table table(method.points);
    for (std::size_t i = 0; i < method.points.size(); ++i) {
        std::string line = "    " + table.line(i);
        if (!one_document) {
            line += "  ";
            line += document_label(method.points[i].range.document_id, documents, page_width - line.size());
        }
        text += without_trailing_blanks(line) + "\n";
    }
    return text;
}

std::string documents_table(const std::vector<document_symbols>& documents) {
    if (documents.empty()) return "no documents\n";
    const std::size_t id_width = bracketed(documents.back().id).size();  // the last is the widest
    std::string text;
    for (const document_symbols& entry : documents) {
        if (!entry.error.empty()) continue;
        text += right(bracketed(entry.id), id_width) + " " + printable(entry.content.url) + "\n";
        text += std::string(id_width + 1, ' ');
        text += entry.content.checksum.empty()
                    ? "no checksum"
                    : algorithm_name(entry.content.checksum_algorithm) + " " + hex_text(entry.content.checksum);
        text += "\n";
    }
    return text;
}

std::string dump_table(const module_symbols& symbols) {
    std::string text = header(symbols);
    if (!symbols.documents->empty()) text.append("\n").append(documents_table(*symbols.documents));
    for (const method_symbols& method : *symbols.methods)
        if (method.error.empty()) text.append("\n").append(method_table_text(method, *symbols.documents));
    return text;
}

}  // namespace qv::profiler::pdb_client
