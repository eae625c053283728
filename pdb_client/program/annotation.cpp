#include "pdb_client/program/annotation.h"

#include <algorithm>
#include <map>
#include <set>

#include "pdb_client/program/columns.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::uint32_t max_gap = 4;  // lines without points that are shown all the same

struct palette {
    const char* number;
    const char* offset;
    const char* mark;
    const char* end;
};
constexpr palette coloured = {"\x1b[2m", "\x1b[33m", "\x1b[32m", "\x1b[0m"};
constexpr palette plain = {"", "", "", ""};

// What stands under a line. Columns are those of the point; 0 is the first or the last of the line.
struct remark {
    std::string label;
    std::uint32_t begin;
    std::uint32_t end;
    bool hidden;
};

using remarks = std::map<std::uint32_t, std::vector<remark>>;  // by line; 0 without one

void add(remarks& all, const sequence_point& point) {
    const source_range& range = point.range;
    const bool one_line = range.end_line <= range.start_line;
    all[range.start_line].push_back(
        {offset_text(point.offset), range.start_column, one_line ? range.end_column : 0, false});
    if (!one_line) all[range.end_line].push_back({"...", 0, range.end_column, false});
}

remarks collect(const std::vector<sequence_point>& points, std::uint32_t document_id) {
    remarks all;
    std::uint32_t line = 0;
    std::uint32_t document = document_id;
    for (const sequence_point& point : points) {
        if (!point.range.hidden()) {
            document = point.range.document_id;
            line = point.range.start_line;
            if (document == document_id) add(all, point);
        } else if (document == document_id) {
            all[line].push_back({offset_text(point.offset), 0, 0, true});
        }
    }
    return all;
}

class annotator {
public:
    annotator(const source_lines& source, const remarks& all, const palette& colours)
        : source_(source), remarks_(all), colours_(colours) {
        gutter_ = std::to_string(all.rbegin()->first).size();
        for (const auto& [line, under] : all)
            for (const remark& r : under) gutter_ = std::max(gutter_, r.label.size());
    }

    std::string run() && {
        std::uint32_t next = 0;
        for (const auto& [line, under] : remarks_) {
            if (line != 0) add_gap(next, line);
            if (line != 0) add_line(line);
            const bool exists = line != 0 && line <= source_.size();
            const shown_line shown(exists ? source_[line] : std::wstring_view());
            for (const remark& r : under) add_remark(r, shown);
            next = line == 0 ? 0 : line + 1;
        }
        return std::move(text_);
    }

private:
    void add_gap(std::uint32_t first, std::uint32_t end) {
        if (first == 0 || first == end) return;
        if (end - first > max_gap)
            text_ += right("...", gutter_) + "\n";
        else
            for (std::uint32_t line = first; line < end; ++line) add_line(line);
    }

    void add_line(std::uint32_t line) {
        text_ += colours_.number;
        text_ += right(std::to_string(line), gutter_) + colours_.end;
        const std::string shown =
            line <= source_.size() ? shown_line(source_[line]).text() : "(behind the end of the file)";
        text_ += without_trailing_blanks("  " + shown) + "\n";
    }

    void add_remark(const remark& r, const shown_line& shown) {
        text_ += colours_.offset;
        text_ += right(r.label, gutter_) + colours_.end;
        text_ += r.hidden ? std::string("  ") + colours_.number + "hidden" : mark(r, shown);
        text_ += colours_.end;
        text_ += '\n';
    }

    std::string mark(const remark& r, const shown_line& shown) const {
        const std::size_t begin = r.begin == 0 ? shown.first_cell() : shown.cell_of(r.begin);
        const std::size_t end = r.end == 0 ? shown.end_cell() : shown.cell_of(r.end);
        return std::string(2 + begin, ' ') + colours_.mark + std::string(end > begin ? end - begin : 1, '~');
    }

    const source_lines& source_;
    const remarks& remarks_;
    const palette& colours_;
    std::size_t gutter_;
    std::string text_;
};

}  // namespace

std::vector<std::uint32_t> documents_of(const std::vector<sequence_point>& points) {
    std::vector<std::uint32_t> ids;
    std::set<std::uint32_t> known;
    for (const sequence_point& point : points)
        if (known.insert(point.range.document_id).second) ids.push_back(point.range.document_id);
    return ids;
}

std::string annotation_text(const source_lines& source, const std::vector<sequence_point>& points,
                            std::uint32_t document_id, bool colours) {
    const remarks all = collect(points, document_id);
    return all.empty() ? std::string() : annotator(source, all, colours ? coloured : plain).run();
}

}  // namespace qv::profiler::pdb_client
