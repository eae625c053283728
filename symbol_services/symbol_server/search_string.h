// The search string: where symbol files are looked for, in the published syntax of symbol paths.
//
//     srv*store                        one store
//     srv*cache*store...               tiers: each is a cache of those to its right
//     symsrv*symsrv.dll*cache*store    the same, with the library named
//     cache*dir                        dir is searched, and is a cache of every element to its right
//     cache*dir*store...               both at once
//     store, a*b                       what is left of the first forms when a caller has cut their prefix off
//
// Elements are joined by ";" and empty ones are ignored. An empty tier, as in "srv*" or "srv**store", is the default
// store, and so is a search string that is empty altogether. An element "symsrv*other.dll*..." belongs to another
// library and is left out.
//
// An element that begins with an HTTP store has the default store before it, unless a "cache*" element stands on its
// left: what is downloaded needs a place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv::symbol_store {

struct tier {
    enum class kind {
        directory,
        http,         // "http://...", "https://..."
        unsupported,  // another scheme, a device, or a text that no path can be made from
    };
    kind type;
    std::wstring_view location;

    bool operator==(const tier&) const = default;
};

struct element {
    std::vector<tier> tiers;  // at least one, caches first
    bool is_cache;            // the first tier serves the elements to the right too

    bool operator==(const element&) const = default;
};

// What is given back refers to both texts. Takes time and memory in proportion to the first.
std::vector<element> parse_search_string(std::wstring_view text, std::wstring_view default_store);

}  // namespace qv::symbol_store
