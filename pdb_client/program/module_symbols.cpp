#include "pdb_client/program/module_symbols.h"

#include <algorithm>
#include <set>

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::uint32_t max_row = 0xFFFFFF;  // what a token can carry

void add_points(method_symbols& method, const std::vector<std::uint32_t>& offsets,
                const std::vector<source_range>& ranges) {
    if (offsets.size() != ranges.size()) throw_error("Offsets and ranges differ in number");
    method.points.reserve(offsets.size());
    for (std::size_t i = 0; i < offsets.size(); ++i) method.points.push_back({offsets[i], ranges[i]});
}

}  // namespace

method_symbols read_method(session& server, std::uint32_t module_id, std::uint32_t method_token) {
    method_symbols method{method_token, {}, {}};
    const auto offsets = server.get_method_offsets(module_id, method_token);
    if (!offsets.ok()) {
        method.error = offsets.error();
        return method;
    }
    if (offsets.value().empty()) return method;
    const auto ranges = server.get_method_ranges(module_id, method_token);
    if (ranges.ok())
        add_points(method, offsets.value(), ranges.value());
    else
        method.error = ranges.error();
    return method;
}

std::vector<method_symbols> read_methods(session& server, std::uint32_t module_id, std::uint32_t method_rows) {
    std::vector<method_symbols> methods;
    for (std::uint32_t row = 1; row <= std::min(method_rows, max_row); ++row) {
        method_symbols method = read_method(server, module_id, method_table | row);
        if (!method.points.empty() || !method.error.empty()) methods.push_back(std::move(method));
    }
    return methods;
}

std::vector<document_symbols> read_documents(session& server, std::uint32_t module_id,
                                             const std::vector<method_symbols>& methods) {
    std::set<std::uint32_t> ids;
    for (const method_symbols& method : methods)
        for (const sequence_point& point : method.points) ids.insert(point.range.document_id);

    std::vector<document_symbols> documents;
    for (const std::uint32_t id : ids) {
        auto found = server.get_document(module_id, id);
        document_symbols& entry = documents.emplace_back();
        entry.id = id;
        if (found.ok())
            entry.content = std::move(found).value();
        else
            entry.error = found.error();
    }
    return documents;
}

source_server_symbols read_source_server(session& server, std::uint32_t module_id) {
    auto data = server.get_source_server_data(module_id);
    if (!data.ok()) return {{}, data.error()};
    return {std::move(data).value(), {}};
}

}  // namespace qv::profiler::pdb_client
