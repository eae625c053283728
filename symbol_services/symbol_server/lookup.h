// Finding one file along a search string.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "symbol_services/symbol_server/search_string.h"
#include "symbol_services/symbol_server/store.h"

namespace qv::symbol_store {

enum class lookup_status {
    found,
    absent,       // at least one store answered; none has the file
    unreachable,  // no store of the search string is there
    too_long,     // found, but only under a path longer than the caller can take
};

struct lookup_result {
    lookup_status status;
    boost::filesystem::path path;  // absolute; empty unless found
};

enum class copy_policy { into_first_tier, never };

// The stores of one element that can be used, in their order. Remote ones are left out: this library reads directories.
using store_chain = std::vector<std::unique_ptr<store>>;
std::vector<store_chain> open_stores(const std::vector<tier_chain>& chains);

// Asks the stores from left to right. A hit in a tier other than the first is copied into the first and answered from
// there; where that fails it is answered from where it lies.
lookup_result find_file(const std::vector<store_chain>& chains, const request& wanted, copy_policy copying);

}  // namespace qv::symbol_store
