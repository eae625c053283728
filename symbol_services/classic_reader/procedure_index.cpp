#include "symbol_services/classic_reader/procedure_index.h"

#include <algorithm>
#include <unordered_set>

#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {

const token_map& procedure_index::map() const {
    return map_.get([this] { return dbi_.token_map ? token_map(file_.stream(*dbi_.token_map).bytes()) : token_map(); });
}

const std::optional<global_references>& procedure_index::references() const {
    return references_.get([this]() -> std::optional<global_references> {
        if (!dbi_.global_symbols || !dbi_.symbol_records) return std::nullopt;
        try {
            return global_references(file_.stream(*dbi_.global_symbols), file_.stream(*dbi_.symbol_records));
        } catch (const hresult_exception&) {
            return std::nullopt;  // a broken table is a missing one
        }
    });
}

const std::vector<procedure_index::indexed_procedure>& procedure_index::index() const {
    return index_.get([this] { return make_index(); });
}

std::vector<procedure_index::indexed_procedure> procedure_index::make_index() const {
    std::vector<indexed_procedure> result;
    std::unordered_set<std::uint32_t> read_streams;  // each one once, however many modules name it
    for (std::uint32_t i = 0; i < dbi_.modules.size(); ++i) {
        const auto& module = dbi_.modules[i];
        if (!module.stream || module.symbol_size == 0 || !read_streams.insert(*module.stream).second) continue;
        try {
            for (const auto& procedure : read_procedures(file_.stream(*module.stream), module.symbol_size))
                if (const auto token = map().to_image(procedure.token); token != 0)
                    result.push_back({token, {i, procedure.address}});
        } catch (const hresult_exception&) {
            continue;  // the methods of the other modules are all there
        }
    }
    const auto by_token = [](const auto& left, const auto& right) { return left.token < right.token; };
    std::stable_sort(result.begin(), result.end(), by_token);
    const auto same_token = [](const auto& left, const auto& right) { return left.token == right.token; };
    result.erase(std::unique(result.begin(), result.end(), same_token), result.end());
    result.shrink_to_fit();
    return result;
}

std::optional<found_procedure> procedure_index::find_referenced(std::uint32_t pdb_token) const {
    if (!references()) return std::nullopt;
    try {
        for (const auto& location : references()->find(pdb_token)) {
            if (location.module >= dbi_.modules.size() || !dbi_.modules[location.module].stream) continue;
            const auto& module = dbi_.modules[location.module];
            const auto procedure = procedure_at(file_.stream(*module.stream), module.symbol_size, location.offset);
            if (procedure && procedure->token == pdb_token) return found_procedure{location.module, procedure->address};
        }
    } catch (const hresult_exception&) {
        return std::nullopt;  // the index will tell
    }
    return std::nullopt;
}

std::optional<found_procedure> procedure_index::find(std::uint32_t token) const {
    for (const auto pdb_token : map().to_pdb(token))
        if (const auto found = find_referenced(pdb_token)) return found;
    const auto& all = index();
    const auto before = [](const indexed_procedure& entry, std::uint32_t wanted) { return entry.token < wanted; };
    const auto at = std::lower_bound(all.begin(), all.end(), token, before);
    return at == all.end() || at->token != token ? std::nullopt : std::optional(at->procedure);
}

std::vector<std::uint32_t> procedure_index::tokens() const {
    std::vector<std::uint32_t> result;
    for (const auto& entry : index()) result.push_back(entry.token);
    return result;
}

}  // namespace qv::classic_reader
