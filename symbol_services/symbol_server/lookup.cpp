#include "symbol_services/symbol_server/lookup.h"

#include <boost/filesystem/operations.hpp>
#include <stdexcept>

#include "qv/text/path.h"
#include "symbol_services/symbol_server/directory_store.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

// Copies from the right to the left, so that each copy is made from the nearest place that has the file already. Gives
// the leftmost path.
fs::path copy_into(const std::vector<tier>& caches, const request& wanted, fs::path file) {
    for (auto cache = caches.rbegin(); cache != caches.rend(); ++cache)
        if (const auto place = open_store(*cache))
            if (auto copy = place->add(wanted, file)) file = std::move(*copy);
    return file;
}

lookup_result answer(fs::path path, const request& wanted) {
    if (text::to_wide(path).size() > wanted.longest_path) return {lookup_status::too_long, {}};
    return {lookup_status::found, std::move(path)};
}

// One search along the elements.
class search {
public:
    search(const request& wanted, copy_policy copying) : wanted_(wanted), copying_(copying) {}

    // Without success the reason is the one of the element that came nearest: the statuses rise towards it.
    lookup_result along(const std::vector<element>& elements) {
        lookup_result best = {lookup_status::unreachable, {}};
        for (const auto& each : elements) {
            auto result = in(each);
            if (result.status > best.status) best = std::move(result);
            if (best.status == lookup_status::found) break;
            if (each.is_cache) caches_.push_back(each.tiers.front());
        }
        return best;
    }

private:
    lookup_result in(const element& where) {
        auto status = lookup_status::unreachable;
        for (std::size_t i = 0; i < where.tiers.size(); ++i) {
            const auto place = open_store(where.tiers[i]);
            if (!place) continue;
            auto hit = place->find(wanted_);
            if (hit.outcome == find_result::status::absent) status = lookup_status::absent;
            if (hit.outcome != find_result::status::found) continue;
            if (copying_ == copy_policy::never) return answer(std::move(hit.path), wanted_);
            caches_.insert(caches_.end(), where.tiers.begin(), where.tiers.begin() + static_cast<std::ptrdiff_t>(i));
            auto result = answer(copy_into(caches_, wanted_, std::move(hit.path)), wanted_);
            // None of them took the file, and none will when another store has it too.
            if (result.status == lookup_status::too_long) caches_.clear();
            return result;
        }
        return {status, {}};
    }

    const request& wanted_;
    const copy_policy copying_;
    std::vector<tier> caches_;  // on the left of what is asked
};

}  // namespace

std::unique_ptr<store> open_store(const tier& place) {
    if (place.type != tier::kind::directory) return nullptr;
    try {
        boost::system::error_code error;
        auto root = fs::absolute(text::to_path(std::wstring(place.location)), error);
        if (error) return nullptr;
        return std::make_unique<directory_store>(std::move(root));
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

lookup_result find_file(const std::vector<element>& elements, const request& wanted, copy_policy copying) {
    return search(wanted, copying).along(elements);
}

}  // namespace qv::symbol_store
