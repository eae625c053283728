// Finding one file along a search string.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "symbol_services/symbol_server/http_stores.h"
#include "symbol_services/symbol_server/search_string.h"
#include "symbol_services/symbol_server/store.h"

namespace qv::symbol_store {

// From the farthest to the nearest to success.
enum class lookup_status {
    unreachable,  // no store of the search string is there
    absent,       // at least one store answered; none has the file
    too_long,     // found, but only under a path longer than the caller can take
    found,
    cancelled,
};

struct lookup_result {
    lookup_status status;
    boost::filesystem::path path;  // absolute; empty unless found
};

enum class copy_policy { into_caches, never };

// The store of a tier. Null where this library cannot serve it. `http` serves the HTTP stores, and may be null; what
// they find is kept where `make_place` says, which may be empty.
std::unique_ptr<store> open_store(const tier& place, http_stores* http, http_store::place_maker make_place = {});

// Asks the tiers from left to right, each once. A hit is copied into every cache on its left: the tiers before it in
// its element and the caches of the elements before. It is answered from the leftmost one that took it, and from where
// it lies when none did. What an HTTP store has is downloaded into the nearest of these caches; without one that takes
// it, or where nothing may be copied, HTTP stores are not asked.
lookup_result find_file(const std::vector<element>& elements, const request& wanted, copy_policy copying,
                        http_stores* http = nullptr);

}  // namespace qv::symbol_store
