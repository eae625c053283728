#include "symbol_services/classic_reader/position_index.h"

#include <algorithm>
#include <tuple>

namespace qv::classic_reader {

void position_index::add(std::uint32_t token, std::span<const sequence_point> points) {
    const auto own = extents_.size();
    for (const auto& point : points) {
        if (point.hidden()) continue;
        starts_.emplace_back(point.document, point.start_line);
        const auto last_line = std::max(point.start_line, point.end_line);
        // Neighbouring points mostly lie in one document.
        if (extents_.size() == own || extents_.back().document != point.document) {
            extents_.push_back({point.document, point.start_line, last_line, token});
        } else {
            extents_.back().first_line = std::min(extents_.back().first_line, point.start_line);
            extents_.back().last_line = std::max(extents_.back().last_line, last_line);
        }
    }
    join_extents(own);
}

// One extent for each document of the method.
void position_index::join_extents(std::size_t own) {
    const auto begin = extents_.begin() + static_cast<std::ptrdiff_t>(own);
    std::sort(begin, extents_.end(),
              [](const extent& left, const extent& right) { return left.document < right.document; });
    auto kept = begin;
    for (auto at = begin; at != extents_.end(); ++at) {
        if (at != begin && kept->document == at->document) {
            kept->first_line = std::min(kept->first_line, at->first_line);
            kept->last_line = std::max(kept->last_line, at->last_line);
        } else {
            if (at != begin) ++kept;
            *kept = *at;
        }
    }
    if (begin != extents_.end()) extents_.erase(kept + 1, extents_.end());
}

void position_index::finish() {
    std::sort(starts_.begin(), starts_.end());
    starts_.erase(std::unique(starts_.begin(), starts_.end()), starts_.end());
    std::sort(extents_.begin(), extents_.end(), [](const extent& left, const extent& right) {
        return std::tuple(left.document, left.last_line - left.first_line, left.token) <
               std::tuple(right.document, right.last_line - right.first_line, right.token);
    });
}

std::vector<std::uint32_t> position_index::methods_at(std::uint32_t document, std::uint32_t line) const {
    const auto before = [](const extent& one, std::uint32_t wanted) { return one.document < wanted; };
    std::vector<std::uint32_t> tokens;
    for (auto at = std::lower_bound(extents_.begin(), extents_.end(), document, before);
         at != extents_.end() && at->document == document; ++at)
        if (at->first_line <= line && line <= at->last_line) tokens.push_back(at->token);
    return tokens;
}

std::optional<std::uint32_t> position_index::closest_line(std::uint32_t document, std::uint32_t line) const {
    const auto at = std::lower_bound(starts_.begin(), starts_.end(), place{document, line});
    return at == starts_.end() || at->first != document ? std::nullopt : std::optional(at->second);
}

}  // namespace qv::classic_reader
