// The search string: where symbol files are looked for, in the published syntax of symbol paths.
//
//     srv*store                        one store
//     srv*cache*store...               tiers: each is a cache of those to its right
//     symsrv*symsrv.dll*cache*store    the same, with the library named
//     cache*dir                        dir becomes the first tier of every element to its right; a second cache*
//     element
//                                      is searched, but the first one stays where hits are kept
//     cache*dir*store...               both at once
//     store, a*b                       what is left of the first forms when a caller has cut their prefix off
//
// Elements are joined by ";" and empty ones are ignored. An empty tier, as in "srv*" or "srv**store", is the default
// store, and so is a search string that is empty altogether. An element "symsrv*other.dll*..." belongs to another
// library and is left out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv::symbol_store {

struct tier {
    enum class kind {
        directory,
        remote,       // "http://...", "https://..." or another scheme
        unsupported,  // a device, or a text that no path can be made from
    };
    kind type;
    std::wstring location;

    bool operator==(const tier&) const = default;
};

// The tiers of one element, caches first.
using tier_chain = std::vector<tier>;

std::vector<tier_chain> parse_search_string(std::wstring_view text, const std::wstring& default_store);

}  // namespace qv::symbol_store
