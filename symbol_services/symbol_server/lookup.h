// Finding one file along a search string.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "symbol_services/symbol_server/search_string.h"
#include "symbol_services/symbol_server/store.h"

namespace qv::symbol_store {

// From the farthest to the nearest to success.
enum class lookup_status {
    unreachable,  // no store of the search string is there
    absent,       // at least one store answered; none has the file
    too_long,     // found, but only under a path longer than the caller can take
    found,
};

struct lookup_result {
    lookup_status status;
    boost::filesystem::path path;  // absolute; empty unless found
};

enum class copy_policy { into_caches, never };

// The store of a tier. Null where this library cannot serve it, for it reads directories: a remote tier, or a text that
// no path can be made from.
std::unique_ptr<store> open_store(const tier& place);

// Asks the tiers from left to right, each once. A hit is copied into every cache on its left: the tiers before it in
// its element and the caches of the elements before. It is answered from the leftmost one that took it, and from where
// it lies when none did.
lookup_result find_file(const std::vector<element>& elements, const request& wanted, copy_policy copying);

}  // namespace qv::symbol_store
