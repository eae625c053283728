#include "symbol_services/symbol_server/lookup.h"

#include <boost/filesystem/operations.hpp>
#include <stdexcept>

#include "symbol_services/symbol_server/directory_store.h"
#include "text/path.h"
#include "text/symbol_path.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

std::unique_ptr<directory_store> open_directory(const tier& place) {
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

// A tier on the left of what is asked.
struct cache {
    tier place;
    bool takes_files = true;  // until it has refused one

    std::unique_ptr<directory_store> open() const {
        if (!takes_files) return nullptr;
        return open_directory(place);
    }
};

// One search along the elements.
class search {
public:
    search(const request& wanted, copy_policy copying, http_stores* http)
        : wanted_(wanted), copying_(copying), http_(http) {}

    // Without success the reason is the one of the element that came nearest: the statuses rise towards it.
    lookup_result along(const std::vector<element>& elements) {
        lookup_result best = {lookup_status::unreachable, {}};
        for (const auto& each : elements) {
            auto result = in(each);
            if (result.status > best.status) best = std::move(result);
            if (best.status >= lookup_status::found) break;
            if (each.is_cache) caches_.push_back({each.tiers.front()});
        }
        return best;
    }

private:
    lookup_result in(const element& where) {
        auto status = lookup_status::unreachable;
        const auto others = caches_.size();
        for (const auto& each : where.tiers) {
            const auto place = open_store(each, http_, [this] { return make_place(); });
            if (!place && wanted_.trace)
                wanted_.trace(symbol_path::without_secrets(each.location) +
                              L" - not asked, for it is no store's place");
            auto hit = place ? place->find(wanted_) : find_result{find_result::status::unreachable, {}};
            if (hit.outcome == find_result::status::found) return take(std::move(hit.path));
            if (hit.outcome == find_result::status::cancelled) return {lookup_status::cancelled, {}};
            if (hit.outcome == find_result::status::absent) status = lookup_status::absent;
            caches_.push_back({each});
        }
        caches_.resize(others);
        return {status, {}};
    }

    lookup_result take(fs::path file) {
        if (copying_ == copy_policy::into_caches) file = copy_into_caches(std::move(file));
        if (text::to_wide(file).size() <= wanted_.longest_path) return {lookup_status::found, std::move(file)};
        // None of them took the file, and none will when another store has it too.
        caches_.clear();
        return {lookup_status::too_long, {}};
    }

    // Copies from the right to the left, so that each copy is made from the nearest place that has the file already.
    // Gives the leftmost path.
    fs::path copy_into_caches(fs::path file) const {
        for (auto each = caches_.rbegin(); each != caches_.rend(); ++each)
            if (const auto place = each->open())
                if (auto copy = place->add(wanted_, file)) file = std::move(*copy);
        return file;
    }

    // Where a download may go: into the nearest cache that takes it.
    std::optional<fs::path> make_place() {
        if (copying_ == copy_policy::never) return std::nullopt;
        for (auto each = caches_.rbegin(); each != caches_.rend(); ++each)
            if (const auto place = each->open()) {
                if (auto target = place->make_place(wanted_)) return target;
                each->takes_files = false;
            }
        return std::nullopt;
    }

    const request& wanted_;
    const copy_policy copying_;
    http_stores* const http_;
    std::vector<cache> caches_;
};

}  // namespace

std::unique_ptr<store> open_store(const tier& place, http_stores* http, http_store::place_maker make_place) {
    if (place.type == tier::kind::directory) return open_directory(place);
    if (place.type != tier::kind::http || http == nullptr) return nullptr;
    auto address = parse_url(place.location);
    if (!address) return nullptr;
    return std::make_unique<http_store>(*http, std::move(*address), std::move(make_place));
}

lookup_result find_file(const std::vector<element>& elements, const request& wanted, copy_policy copying,
                        http_stores* http) {
    return search(wanted, copying, http).along(elements);
}

}  // namespace qv::symbol_store
