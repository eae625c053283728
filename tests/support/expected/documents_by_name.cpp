#include "tests/support/expected/documents_by_name.h"

namespace qv::testing {
namespace {

constexpr std::uint32_t hidden_line = 0xFEEFEE;

}  // namespace

expected_module without_unnamed_documents(const expected_module& module) {
    std::set<std::uint32_t> named;
    for (const auto& [token, points] : module.methods)
        for (const auto& point : points) named.insert(point.range.document);
    expected_module result = module;
    std::erase_if(result.documents, [&](const auto& entry) { return !named.contains(entry.first); });
    return result;
}

documents_by_name::documents_by_name(symbol_source& source, const expected_module& module) : source_(source) {
    for (const auto& [row, document] : module.documents) rows_[document.name] = row;
}

std::uint32_t documents_by_name::load(const boost::filesystem::path& image, const GUID& mvid) {
    return source_.load(image, mvid);
}

std::vector<std::uint32_t> documents_by_name::offsets(std::uint32_t module, std::uint32_t token) {
    return source_.offsets(module, token);
}

std::vector<source_range> documents_by_name::ranges(std::uint32_t module, std::uint32_t token) {
    auto result = source_.ranges(module, token);
    for (auto& range : result) {
        range.document = row_of(module, range.document);
        if (range.start_line == hidden_line) range.start_column = range.end_column = 0;
    }
    return result;
}

document documents_by_name::get_document(std::uint32_t module, std::uint32_t row) {
    return source_.get_document(module, id_of_row_.at(row));
}

std::vector<std::uint8_t> documents_by_name::source_server_data(std::uint32_t module) {
    return source_.source_server_data(module);
}

std::uint32_t documents_by_name::row_of(std::uint32_t module, std::uint32_t id) {
    if (const auto known = row_of_id_.find(id); known != row_of_id_.end()) return known->second;
    const auto found = rows_.find(source_.get_document(module, id).name);
    const std::uint32_t row = found == rows_.end() ? 0 : found->second;
    row_of_id_[id] = row;
    id_of_row_[row] = id;
    return row;
}

}  // namespace qv::testing
