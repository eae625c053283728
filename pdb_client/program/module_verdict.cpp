#include "pdb_client/program/module_verdict.h"

#include <optional>

#include "pdb_client/program/missing_symbols.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/source_file.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

std::optional<module_info> try_to_read(const boost::filesystem::path& file) {
    try {
        return read_module_file(file);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void note(module_verdict& verdict, const std::string& error) {
    if (verdict.reason.empty()) verdict.reason = error;
}

std::string first_line(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

void count_points(session& server, std::uint32_t module_id, const module_info& module,
                  const std::function<bool()>& stop, document_map& documents, module_verdict& verdict) {
    for_each_method(module, [&](std::uint32_t token) {
        if (stop()) return;
        const method_symbols method = read_method(server, module_id, token);
        note(verdict, method.error);
        learn_documents(server, module_id, method, documents);
        verdict.points += method.points.size();
        if (!method.points.empty()) ++verdict.methods_with_points;
    });
}

void count_sources(const document_map& documents, const std::vector<boost::filesystem::path>& directories,
                   const std::function<bool()>& stop, module_verdict& verdict) {
    verdict.documents = documents.size();
    for (const auto& [id, entry] : documents) {
        note(verdict, entry.error);
        if (stop() || !entry.error.empty()) continue;
        const auto source = find_source(entry.content, directories);
        if (!source) continue;
        ++verdict.sources;
        if (source->verdict <= checksum_verdict::other_line_ends) ++verdict.matching_sources;
    }
}

void read_all(session& server, std::uint32_t module_id, const module_info& module, const options& wanted,
              const std::function<bool()>& stop, module_verdict& verdict) {
    document_map documents;
    count_points(server, module_id, module, stop, documents, verdict);
    std::vector<boost::filesystem::path> directories = wanted.source_roots;
    directories.push_back(text::to_path(module.path).parent_path());
    count_sources(documents, directories, stop, verdict);
}

}  // namespace

module_verdict verify_module(session& server, const boost::filesystem::path& file, const options& wanted,
                             const std::function<bool()>& stop) {
    module_verdict verdict;
    const auto module = try_to_read(file);
    if (!module) return verdict;
    verdict.is_module = true;
    verdict.mvid = module->mvid;
    verdict.symbols = module->symbols;
    verdict.methods = module->method_rows;
    const answer<std::uint32_t> module_id = server.load_module(module->path, module->mvid);
    if (!module_id.ok()) {
        verdict.reason = module_id.error();
        return verdict;
    }
    verdict.loaded = module_id.value() != 0;
    if (!verdict.loaded) {
        verdict.reason = first_line(missing_symbols_text(*module, wanted.search.search_paths));
        return verdict;
    }
    read_all(server, module_id.value(), *module, wanted, stop, verdict);
    const auto unloaded = server.unload_module(module_id.value());
    if (!unloaded.ok()) note(verdict, unloaded.error());
    return verdict;
}

const char* kind_name(symbol_kind kind) {
    switch (kind) {
        case symbol_kind::none: break;
        case symbol_kind::embedded: return "embedded";
        case symbol_kind::portable: return "portable";
        case symbol_kind::classic: return "classic";
    }
    return "none";
}

}  // namespace qv::profiler::pdb_client
