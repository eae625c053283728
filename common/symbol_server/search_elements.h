// The symbol-server elements of a search path, and what a symbol-server library is asked for each of them.
//
//   srv*TIERS, symsrv*symsrv.dll*TIERS
//     places of symbol files, joined by "*": each keeps what those to its right have
//   symsrv*LIBRARY*TIERS
//     the same for another library
//   cache*TIERS
//     the same, and its first tier keeps what all elements to its right have
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qv::symbol_server {

// True for an element that begins with "srv*", "symsrv*" or "cache*" in any case: it is no directory. The prefixes are
// the same characters in every encoding of a path.
bool is_server_element(std::wstring_view element);
bool is_server_element(std::string_view element);

// True for one that begins with "cache*".
bool is_cache_element(std::wstring_view element);
bool is_cache_element(std::string_view element);

// One way through a search path. Libraries are asked about one element at a time and remember nothing between calls, so
// the walk remembers the caches.
class element_walk {
public:
    // Takes the next element, from left to right. The answer is the first argument of the library's SymbolServer
    // functions: the element's tiers behind the caches on its left. None for an element that names another library than
    // symsrv.dll, and for one that is no symbol-server element.
    //
    // Caches beyond the eighth, or beyond 4,096 characters together, are tiers of their own element only: what is asked
    // along a search path stays in proportion to its length.
    std::optional<std::wstring> next(const std::wstring& element);

private:
    void remember_cache(const std::wstring& tiers);

    std::wstring caches_;  // each followed by "*"
    int cache_count_ = 0;
};

}  // namespace qv::symbol_server
