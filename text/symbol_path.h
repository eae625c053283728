// Symbol search paths: elements with ";" between them, each a directory or what symbol servers are asked for.
//
//   srv*TIERS, symsrv*symsrv.dll*TIERS
//     places of symbol files, joined by "*": each keeps what those to its right have
//   symsrv*LIBRARY*TIERS
//     the same for another library
//   cache*TIERS
//     the same, and its first tier keeps what all elements to its right have
//
// Prefixes and the names of libraries count in any case of their letters; they are the same characters in every
// encoding of a path.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::symbol_path {

enum class empty_parts { kept, left_out };

// The parts between separators: the elements of a path between ";", the tiers of an element between "*". Where empty
// ones are kept, adjacent separators, or one at an end, give one. The parts lie in the text.
std::vector<std::wstring_view> split(std::wstring_view text, wchar_t separator, empty_parts empty);

enum class element_kind { directory, server, cache };

struct element {
    element_kind kind;
    std::optional<std::wstring_view> library;  // that "symsrv*" names
    std::optional<std::wstring_view> tiers;    // none of a directory, and where "symsrv*LIBRARY" is all
};

// What is given back lies in the text.
element parse_element(std::wstring_view text) noexcept;

// True for an element that begins with one of the prefixes: it is no directory.
bool is_server_element(std::wstring_view element) noexcept;
bool is_server_element(std::string_view element) noexcept;

// True for one that begins with "cache*".
bool is_cache_element(std::wstring_view element) noexcept;
bool is_cache_element(std::string_view element) noexcept;

// An element as logs may show it: addresses in it have "***" in place of a user's name and password, and of what
// follows a "?".
std::wstring without_secrets(std::wstring_view element);

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
    std::optional<std::wstring> next(std::wstring_view element);

private:
    void remember_cache(std::wstring_view tiers);

    std::wstring caches_;  // each followed by "*"
    int cache_count_ = 0;
};

}  // namespace qv::symbol_path
