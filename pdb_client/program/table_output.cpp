#include "pdb_client/program/table_output.h"

#include <algorithm>
#include <array>

#include "pdb_client/program/columns.h"
#include "pdb_client/program/display_text.h"

namespace qv::profiler::pdb_client {
namespace {

// "[2] C:\src\a.cs", cut on the left to fit.
std::string document_label(std::uint32_t id, const document_map& documents, std::size_t width) {
    std::string number = bracketed(id);
    const auto found = documents.find(id);
    if (found == documents.end() || found->second.content.url.empty()) return number;
    return number + " " + keep_tail(printable(found->second.content.url), width - std::min(width, number.size() + 1));
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

bool lies_in_one_document(const std::vector<sequence_point>& points) {
    return std::all_of(points.begin(), points.end(),
                       [&](const auto& p) { return p.range.document_id == points[0].range.document_id; });
}

}  // namespace

std::string bracketed(std::uint32_t id) {
    std::string text("[");
    text += std::to_string(id);
    text += ']';
    return text;
}

std::string checksum_text(const document& content) {
    if (content.checksum.empty()) return "no checksum";
    return algorithm_name(content.checksum_algorithm) + " " + hex_text(content.checksum);
}

std::string points_text(const std::vector<sequence_point>& points, const document_map& documents) {
    const bool one_document = lies_in_one_document(points);
    const point_table table(points);
    std::string text;
    for (std::size_t i = 0; i < points.size(); ++i) {
        std::string line = "    " + table.line(i);
        if (!one_document) {
            line += "  ";
            line += document_label(points[i].range.document_id, documents, page_width - line.size());
        }
        text += without_trailing_blanks(line) + "\n";
    }
    return text;
}

std::string method_title(std::uint32_t token, const method_names& names) {
    const std::string name = names.name_of(token);
    if (name.empty()) return token_text(token);
    return token_text(token) + "  " + printable(std::string_view(name));
}

void table_presenter::begin() {
    if (!is_dump()) return;
    out_.write(file_name(module_.path) + "  MVID " + guid_text(module_.mvid) + "\n" +
               counted(module_.method_rows, "method") + "\n");
}

void table_presenter::method(const method_symbols& symbols, const document_map& documents) {
    if (!symbols.error.empty()) return;
    const std::vector<sequence_point>& points = symbols.points;
    ++methods_;
    points_ += points.size();
    std::string text(is_dump() ? "\n" : "");
    text += method_title(symbols.token, module_.names);
    text += "\n    ";
    if (points.empty())
        text += "no sequence points";
    else if (lies_in_one_document(points))
        text += document_label(points[0].range.document_id, documents, page_width - 4);
    else
        text += "several documents";
    out_.write(text + "\n" + points_text(points, documents));
}

std::string table_presenter::document_text(const document_symbols& entry, std::size_t indent) const {
    const std::string begin(indent, ' ');
    std::string text = printable(entry.content.url) + "\n" + begin + checksum_text(entry.content) + "\n";
    if (entry.origin) text += begin + printable(std::string_view(*entry.origin)) + "\n";
    for (const std::uint32_t token : entry.methods) text += begin + method_title(token, module_.names) + "\n";
    return text;
}

void table_presenter::documents(const document_map& all) {
    documents_ = all.size();
    if (what_ == command::method) return;
    if (is_dump() && !all.empty()) out_.write("\n");
    if (!is_dump() && all.empty()) out_.write("no documents\n");
    const std::size_t id_width = all.empty() ? 0 : bracketed(all.rbegin()->first).size();  // the last is the widest
    for (const auto& [id, entry] : all)
        if (entry.error.empty()) out_.write(right(bracketed(id), id_width) + " " + document_text(entry, id_width + 1));
}

void table_presenter::source_server(const source_server_symbols& symbols) {
    source_server_bytes_ = symbols.data.size();
    if (what_ == command::sourcelink && !symbols.data.empty())
        out_.write_verbatim({reinterpret_cast<const char*>(symbols.data.data()), symbols.data.size()});
}

void table_presenter::end() {
    if (!is_dump()) return;
    std::string text("\n");
    text += counted(methods_, "method") + " with sequence points; " + counted(points_, "point") + " in " +
            counted(documents_, "document");
    if (source_server_bytes_ != 0) text += "; " + counted(source_server_bytes_, "byte") + " of source server data";
    out_.write(text + "\n");
}

}  // namespace qv::profiler::pdb_client
