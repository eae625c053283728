#include "pdb_client/program/json_output.h"

#include <boost/json.hpp>

#include "pdb_client/program/display_text.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

namespace json = boost::json;

json::value name_value(std::uint32_t token, const method_names& names) {
    const std::string name = names.name_of(token);
    return name.empty() ? json::value() : json_text(name);
}

json::object method_value(std::uint32_t token, const method_names& names) {
    return {{"token", token_text(token)}, {"name", name_value(token, names)}};
}

json::object to_value(const sequence_point& point) {
    const source_range& range = point.range;
    return {{"offset", point.offset},        {"document", range.document_id},
            {"startLine", range.start_line}, {"startColumn", range.start_column},
            {"endLine", range.end_line},     {"endColumn", range.end_column},
            {"hidden", range.hidden()}};
}

json::object to_value(const method_symbols& method, const method_names& names) {
    json::object value = method_value(method.token, names);
    if (!method.error.empty()) {
        value["error"] = json_text(method.error);
        return value;
    }
    json::array points;
    for (const sequence_point& point : method.points) points.push_back(to_value(point));
    value["points"] = std::move(points);
    return value;
}

json::object to_value(std::uint32_t id, const document_symbols& entry) {
    if (!entry.error.empty()) return {{"id", id}, {"error", json_text(entry.error)}};
    json::object value{{"id", id}, {"name", text::to_utf8(entry.content.url)}};
    const bool has_hash = !entry.content.checksum.empty();
    value["hashAlgorithm"] = has_hash ? json::value(algorithm_name(entry.content.checksum_algorithm)) : json::value();
    value["hash"] = has_hash ? json::value(hex_text(entry.content.checksum)) : json::value();
    if (entry.origin) value["origin"] = json_text(*entry.origin);
    return value;
}

}  // namespace

void add_module(json_lines& lines, const module_info& module) {
    lines.add("module", json::string(text::to_utf8(module.path)));
    lines.add("mvid", json::string(guid_text(module.mvid)));
    lines.add("methodDefs", module.method_rows);
}

json::value json_text(const std::string& bytes) {
    return json::string(is_utf8(bytes) ? bytes : printable(std::string_view(bytes)));
}

void json_lines::add(const char* name, const json::value& value) {
    out_.write(std::string(separator_).append(json::serialize(json::string(name)) + ": " + json::serialize(value)));
    separator_ = ",\n  ";
}

void json_lines::begin_list(const char* name) {
    out_.write(std::string(separator_).append(json::serialize(json::string(name)) + ": ["));
    separator_ = ",\n  ";
    element_separator_ = "\n    ";
}

void json_lines::add_element(const json::value& value) {
    out_.write(std::string(element_separator_).append(json::serialize(value)));
    element_separator_ = ",\n    ";
}

void json_lines::end_list() {
    out_.write(*element_separator_ == ',' ? "\n  ]" : "]");
}

void json_lines::finish() {
    out_.write("\n}\n");
}

void show_matches(const std::vector<std::uint32_t>& tokens, const module_info& module, output& out) {
    json_lines lines(out);
    add_module(lines, module);
    lines.begin_list("matches");
    for (const std::uint32_t token : tokens) lines.add_element(method_value(token, module.names));
    lines.end_list();
    lines.finish();
}

void json_presenter::begin() {
    add_module(lines_, module_);
}

void json_presenter::begin_methods() {
    lines_.begin_list("methods");
    in_methods_ = true;
}

void json_presenter::method(const method_symbols& symbols, const document_map&) {
    lines_.add_element(to_value(symbols, module_.names));
}

void json_presenter::end_methods() {
    if (in_methods_) lines_.end_list();
    in_methods_ = false;
}

void json_presenter::documents(const document_map& all) {
    end_methods();
    lines_.begin_list("documents");
    for (const auto& [id, entry] : all) {
        json::object value = to_value(id, entry);
        if (what_ == command::documents && entry.error.empty()) {
            json::array methods;
            for (const std::uint32_t token : entry.methods) methods.push_back(method_value(token, module_.names));
            value["methods"] = std::move(methods);
        }
        lines_.add_element(value);
    }
    lines_.end_list();
}

void json_presenter::source_server(const source_server_symbols& symbols) {
    const std::string data(symbols.data.begin(), symbols.data.end());
    if (!symbols.error.empty())
        lines_.add("sourceServerError", json_text(symbols.error));
    else if (data.empty())
        lines_.add("sourceServerData", nullptr);
    else if (is_utf8(data))
        lines_.add("sourceServerData", json::string(data));
    else
        lines_.add("sourceServerDataHex", json::string(hex_text(symbols.data)));
}

void json_presenter::end() {
    lines_.finish();
}

}  // namespace qv::profiler::pdb_client
