#include "symbol_services/symbol_server/lookup.h"

#include <boost/filesystem/operations.hpp>
#include <stdexcept>

#include "qv/text/path.h"
#include "symbol_services/symbol_server/directory_store.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

// The one place that decides which kind of store serves a tier. Empty where none does.
std::unique_ptr<store> open_store(const tier& place) {
    if (place.type != tier::kind::directory) return nullptr;
    try {
        boost::system::error_code error;
        auto root = fs::absolute(text::to_path(place.location), error);
        if (error) return nullptr;
        return std::make_unique<directory_store>(std::move(root));
    } catch (const std::runtime_error&) {
        return nullptr;  // no path can be made from the text
    }
}

bool is_short_enough(const fs::path& path, const request& wanted) {
    return text::to_wide(path).size() <= wanted.longest_path;
}

lookup_result answer(const fs::path& path, const request& wanted) {
    if (!is_short_enough(path, wanted)) return {lookup_status::too_long, {}};
    return {lookup_status::found, path};
}

lookup_result find_in_chain(const store_chain& chain, const request& wanted, copy_policy copying) {
    auto status = lookup_status::unreachable;
    for (std::size_t i = 0; i < chain.size(); ++i) {
        const auto hit = chain[i]->find(wanted);
        if (hit.outcome == find_result::status::absent) status = lookup_status::absent;
        if (hit.outcome != find_result::status::found) continue;
        if (i != 0 && copying == copy_policy::into_first_tier)
            if (const auto copy = chain.front()->add(wanted, hit.path)) return {lookup_status::found, *copy};
        return answer(hit.path, wanted);
    }
    return {status, {}};
}

// Of several chains without success, the one that came nearest gives the reason.
int nearness(lookup_status status) {
    switch (status) {
        case lookup_status::unreachable: return 0;
        case lookup_status::absent: return 1;
        case lookup_status::too_long: return 2;
        case lookup_status::found: break;
    }
    return 3;
}

}  // namespace

std::vector<store_chain> open_stores(const std::vector<tier_chain>& chains) {
    std::vector<store_chain> stores;
    for (const auto& tiers : chains) {
        store_chain chain;
        for (const auto& place : tiers)
            if (auto opened = open_store(place)) chain.push_back(std::move(opened));
        stores.push_back(std::move(chain));
    }
    return stores;
}

lookup_result find_file(const std::vector<store_chain>& chains, const request& wanted, copy_policy copying) {
    lookup_result best = {lookup_status::unreachable, {}};
    for (const auto& chain : chains) {
        auto result = find_in_chain(chain, wanted, copying);
        if (nearness(result.status) > nearness(best.status)) best = std::move(result);
        if (best.status == lookup_status::found) break;
    }
    return best;
}

}  // namespace qv::symbol_store
