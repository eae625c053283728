#include "symbol_services/classic_reader/procedure_index.h"

#include <algorithm>
#include <cstring>

#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t row_mask = 0x00FFFFFF;

constexpr std::uint64_t key(std::uint32_t image_row, std::uint64_t pdb_row) {
    return std::uint64_t{image_row} << 32 | pdb_row;
}

// No linker merges more methods into one.
constexpr std::size_t most_merged_rows = 64;

}  // namespace

token_map::token_map(std::span<const unsigned char> stream) : identity_(false) {
    image_rows_.resize(stream.size() / sizeof(std::uint32_t));
    if (image_rows_.empty()) return;
    std::memcpy(image_rows_.data(), stream.data(), image_rows_.size() * sizeof(std::uint32_t));
    by_image_row_.reserve(image_rows_.size());
    for (std::size_t row = 1; row < image_rows_.size(); ++row) by_image_row_.push_back(key(image_rows_[row], row));
    if (!std::is_sorted(by_image_row_.begin(), by_image_row_.end()))
        std::sort(by_image_row_.begin(), by_image_row_.end());
}

std::uint32_t token_map::to_image(std::uint32_t pdb_token) const noexcept {
    if (!is_method_def(pdb_token)) return 0;
    if (identity_) return pdb_token;
    const auto row = pdb_token & row_mask;
    if (row >= image_rows_.size()) return 0;
    const auto image_row = image_rows_[row];
    return image_row == 0 || image_row > row_mask ? 0 : method_def_token | image_row;
}

std::vector<std::uint32_t> token_map::to_pdb(std::uint32_t image_token, std::size_t most) const {
    if (!is_method_def(image_token)) return {};
    if (identity_) return {image_token};
    const auto image_row = image_token & row_mask;
    std::vector<std::uint32_t> tokens;
    for (auto at = std::lower_bound(by_image_row_.begin(), by_image_row_.end(), key(image_row, 0));
         at != by_image_row_.end() && *at >> 32 == image_row && tokens.size() < most; ++at)
        if (const auto row = static_cast<std::uint32_t>(*at); row <= row_mask) tokens.push_back(method_def_token | row);
    return tokens;
}

const token_map& procedure_index::map() const {
    return map_.get([this] { return dbi_.token_map ? token_map(file_.stream(*dbi_.token_map).bytes()) : token_map(); });
}

const std::optional<global_references>& procedure_index::references() const {
    return references_.get([this] {
        std::optional<global_references> made;
        // A broken table is a missing one.
        if (dbi_.global_symbols && dbi_.symbol_records)
            content_allows(
                [&] { made.emplace(file_.stream(*dbi_.global_symbols), file_.stream(*dbi_.symbol_records)); });
        return made;
    });
}

const std::vector<procedure_index::indexed_procedure>& procedure_index::all() const {
    return index_.get([this] { return make_index(); });
}

std::vector<procedure_index::indexed_procedure> procedure_index::make_index() const {
    std::vector<indexed_procedure> result;
    for (std::uint32_t i = 0; i < dbi_.modules.size(); ++i) {
        const auto& module = dbi_.modules[i];
        if (!module.stream || module.symbol_size == 0) continue;
        // When one fails, the methods of the other modules are all there.
        content_allows([&] {
            for (const auto& procedure : read_procedures(file_.stream(*module.stream), module.symbol_size))
                if (const auto token = map().to_image(procedure.token); token != 0)
                    result.push_back({token, {i, procedure.address}});
        });
    }
    keep_one_of_each_token(result);
    return result;
}

// Of several the one that the symbol hash table names, failing that the first.
void procedure_index::keep_one_of_each_token(std::vector<indexed_procedure>& procedures) const {
    const auto by_token = [](const auto& left, const auto& right) { return left.token < right.token; };
    std::stable_sort(procedures.begin(), procedures.end(), by_token);
    auto allowance = references() ? references()->largest_bucket() + 4 * references()->size() : 0;
    auto kept = procedures.begin();
    for (auto at = procedures.begin(); at != procedures.end();) {
        const auto next = std::upper_bound(at, procedures.end(), *at, by_token);
        *kept = *at;
        if (next - at > 1)
            if (const auto named = find_referenced(at->token, allowance)) kept->procedure = *named;
        ++kept;
        at = next;
    }
    procedures.erase(kept, procedures.end());
    procedures.shrink_to_fit();
}

// Rows that were merged have several tokens in the PDB file: the more there are, the less each may cost.
std::optional<found_procedure> procedure_index::find_referenced(std::uint32_t token, std::uint64_t& allowance) const {
    std::optional<found_procedure> found;
    if (!references() || allowance == 0) return found;
    const auto look_up = [&](std::uint32_t pdb_token) {
        references()->find(pdb_token, allowance, [&](const procedure_location& location) {
            if (location.module >= dbi_.modules.size() || !dbi_.modules[location.module].stream) return false;
            const auto& module = dbi_.modules[location.module];
            const auto procedure = procedure_at(file_.stream(*module.stream), module.symbol_size, location.offset);
            if (procedure && procedure->token == pdb_token) found = {location.module, procedure->address};
            return found.has_value();
        });
    };
    // What cannot be read the index will tell.
    content_allows([&] {
        for (const auto pdb_token : map().to_pdb(token, most_merged_rows)) {
            look_up(pdb_token);
            if (found) return;
        }
    });
    return found;
}

std::optional<found_procedure> procedure_index::find(std::uint32_t token) const {
    map();  // without it nothing can be said
    auto allowance = references() ? references()->largest_bucket() : 0;
    if (const auto found = find_referenced(token, allowance)) return found;
    const auto before = [](const indexed_procedure& entry, std::uint32_t wanted) { return entry.token < wanted; };
    const auto at = std::lower_bound(all().begin(), all().end(), token, before);
    return at == all().end() || at->token != token ? std::nullopt : std::optional(at->procedure);
}

}  // namespace qv::classic_reader
