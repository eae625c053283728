#include "symbol_services/classic_reader/name_index.h"

#include <algorithm>
#include <functional>

#include "qv/diagnostics/work_counter.h"

namespace qv::classic_reader {

name_index::entry name_index::make_entry(std::string_view name, std::uint32_t value) {
    count_work(name.size());
    return {std::hash<std::string_view>()(name), name, value};
}

bool name_index::before(const entry& left, const entry& right) noexcept {
    count_work(1);
    return left.hash != right.hash ? left.hash < right.hash : left.name < right.name;
}

void name_index::add(std::string_view name, std::uint32_t value) {
    entries_.push_back(make_entry(name, value));
}

void name_index::finish() {
    std::stable_sort(entries_.begin(), entries_.end(), before);
    const auto same_name = [](const entry& left, const entry& right) { return left.name == right.name; };
    entries_.erase(std::unique(entries_.begin(), entries_.end(), same_name), entries_.end());
}

std::optional<std::uint32_t> name_index::find(std::string_view name) const {
    const auto at = std::lower_bound(entries_.begin(), entries_.end(), make_entry(name, 0), before);
    return at == entries_.end() || at->name != name ? std::nullopt : std::optional(at->value);
}

}  // namespace qv::classic_reader
