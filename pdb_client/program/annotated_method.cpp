#include "pdb_client/program/annotated_method.h"

#include <algorithm>
#include <iterator>

#include "pdb_client/program/annotation.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/source_file.h"
#include "pdb_client/program/table_output.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

std::string verdict_text(checksum_verdict verdict, const document& recorded) {
    if (recorded.checksum.empty()) return "no checksum is recorded";
    const std::string name = algorithm_name(recorded.checksum_algorithm);
    switch (verdict) {
        case checksum_verdict::matches: return name + " matches";
        case checksum_verdict::other_line_ends: return name + " matches but for the line ends";
        case checksum_verdict::unchecked: return "not checked: " + name + " is not known here";
        case checksum_verdict::differs: break;
    }
    return name + " DIFFERS: this is not the text that was compiled";
}

std::string place_text(const source_file& source, const document& recorded) {
    const std::wstring place = text::to_wide(source.place);
    return place == recorded.url ? std::string() : "in " + printable(place) + "; ";
}

// The table of those points that lie in one document.
std::string table_of(const annotated_method& shown, std::uint32_t id) {
    std::vector<sequence_point> points;
    std::copy_if(shown.method.points.begin(), shown.method.points.end(), std::back_inserter(points),
                 [id](const sequence_point& point) { return point.range.document_id == id; });
    return points_text(points, shown.documents);
}

bool show_document(const annotated_method& shown, std::uint32_t id, output& out) {
    const document_symbols& entry = shown.documents.at(id);
    std::string text("\n");
    text += bracketed(id) + " " + printable(entry.content.url) + "\n";
    if (entry.origin) text += "    " + printable(std::string_view(*entry.origin)) + "\n";
    const auto source = find_source(entry.content, shown.directories);
    if (!source) {
        out.write(text + "    source not found; --source_root names a directory to look in\n" + table_of(shown, id));
        return false;
    }
    const bool warns = source->verdict == checksum_verdict::differs && out.has_colours();
    text += warns ? "    \x1b[31m" : "    ";
    text += place_text(*source, entry.content) + verdict_text(source->verdict, entry.content);
    text += warns ? "\x1b[0m\n\n" : "\n\n";
    out.write(text + annotation_text(source_lines(source->bytes), shown.method.points, id, out.has_colours()));
    return true;
}

}  // namespace

bool show_annotated(const annotated_method& shown, output& out) {
    if (!shown.method.error.empty()) return false;
    out.write(method_title(shown.method.token, shown.names) + "\n");
    if (shown.method.points.empty()) out.write("    no sequence points\n");
    bool all = true;
    for (const std::uint32_t id : documents_of(shown.method.points)) all = show_document(shown, id, out) && all;
    return all;
}

}  // namespace qv::profiler::pdb_client
