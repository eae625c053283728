#include "pdb_client/program/json_output.h"

#include <boost/json.hpp>

#include "pdb_client/program/display_text.h"
#include "qv/text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

namespace json = boost::json;

// The server's texts are 8-bit; JSON is UTF-8.
json::string error_text(const std::string& text) {
    return json::string(is_utf8(text) ? text : printable(std::string_view(text)));
}

json::object to_value(const document_symbols& entry) {
    if (!entry.error.empty()) return {{"id", entry.id}, {"error", error_text(entry.error)}};
    json::object value{{"id", entry.id}, {"name", text::to_utf8(entry.content.url)}};
    const bool has_hash = !entry.content.checksum.empty();
    value["hashAlgorithm"] = has_hash ? json::value(algorithm_name(entry.content.checksum_algorithm)) : json::value();
    value["hash"] = has_hash ? json::value(hex_text(entry.content.checksum)) : json::value();
    return value;
}

json::object to_value(const sequence_point& point) {
    const source_range& range = point.range;
    return {{"offset", point.offset},        {"document", range.document_id},
            {"startLine", range.start_line}, {"startColumn", range.start_column},
            {"endLine", range.end_line},     {"endColumn", range.end_column},
            {"hidden", range.hidden()}};
}

json::object to_value(const method_symbols& method) {
    json::object value{{"token", token_text(method.token)}};
    if (!method.error.empty()) {
        value["error"] = error_text(method.error);
        return value;
    }
    json::array points;
    for (const sequence_point& point : method.points) points.push_back(to_value(point));
    value["points"] = std::move(points);
    return value;
}

// The members of the outer object, one a line.
class member_lines {
public:
    void add(const char* name, const json::value& value) { begin(name) += json::serialize(value); }

    template <class Element>
    void add_list(const char* name, const std::vector<Element>& elements) {
        std::string& text = begin(name);
        const char* separator = "[\n    ";
        for (const Element& element : elements) {
            text += separator + json::serialize(to_value(element));
            separator = ",\n    ";
        }
        text += elements.empty() ? "[]" : "\n  ]";
    }

    std::string finish() && { return text_ + "\n}\n"; }

private:
    std::string& begin(const char* name) {
        text_ += text_.empty() ? "{\n  " : ",\n  ";
        return text_ += json::serialize(json::string(name)) + ": ";
    }

    std::string text_;
};

void add_source_server(member_lines& out, const source_server_symbols& symbols) {
    const std::string data(symbols.data.begin(), symbols.data.end());
    if (!symbols.error.empty())
        out.add("sourceServerError", error_text(symbols.error));
    else if (data.empty())
        out.add("sourceServerData", nullptr);
    else if (is_utf8(data))
        out.add("sourceServerData", json::string(data));
    else
        out.add("sourceServerDataHex", json::string(hex_text(symbols.data)));
}

}  // namespace

std::string to_json(const module_symbols& symbols) {
    member_lines out;
    out.add("module", json::string(text::to_utf8(symbols.module.path)));
    out.add("mvid", json::string(guid_text(symbols.module.mvid)));
    out.add("methodDefs", symbols.module.method_rows);
    if (symbols.documents) out.add_list("documents", *symbols.documents);
    if (symbols.methods) out.add_list("methods", *symbols.methods);
    if (symbols.source_server) add_source_server(out, *symbols.source_server);
    return std::move(out).finish();
}

}  // namespace qv::profiler::pdb_client
