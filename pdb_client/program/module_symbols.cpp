#include "pdb_client/program/module_symbols.h"

#include "base/exception.h"

namespace qv::profiler::pdb_client {
namespace {

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

void learn_documents(session& server, std::uint32_t module_id, const method_symbols& method, document_map& documents) {
    for (const sequence_point& point : method.points) {
        const auto [entry, is_new] = documents.try_emplace(point.range.document_id);
        if (!is_new) continue;
        auto found = server.get_document(module_id, entry->first);
        if (found.ok())
            entry->second.content = std::move(found).value();
        else
            entry->second.error = found.error();
    }
}

source_server_symbols read_source_server(session& server, std::uint32_t module_id) {
    auto data = server.get_source_server_data(module_id);
    if (!data.ok()) return {{}, data.error()};
    return {std::move(data).value(), {}};
}

}  // namespace qv::profiler::pdb_client
