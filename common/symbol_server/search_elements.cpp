#include "common/symbol_server/search_elements.h"

#include <boost/algorithm/string/predicate.hpp>
#include <cstddef>

namespace qv::symbol_server {
namespace {

constexpr std::string_view cache_prefix = "cache*";
constexpr std::string_view server_prefix = "srv*";
constexpr std::string_view library_prefix = "symsrv*";
constexpr std::string_view own_library_prefix = "symsrv*symsrv.dll*";

constexpr int most_caches = 8;
constexpr std::size_t longest_caches = 4096;

template <class Element>
bool begins_with(const Element& element, std::string_view prefix) {
    return boost::algorithm::istarts_with(element, prefix);
}

template <class Element>
bool is_server(const Element& element) {
    return begins_with(element, server_prefix) || begins_with(element, library_prefix) ||
           begins_with(element, cache_prefix);
}

}  // namespace

bool is_server_element(std::wstring_view element) {
    return is_server(element);
}

bool is_server_element(std::string_view element) {
    return is_server(element);
}

bool is_cache_element(std::wstring_view element) {
    return begins_with(element, cache_prefix);
}

bool is_cache_element(std::string_view element) {
    return begins_with(element, cache_prefix);
}

std::optional<std::wstring> element_walk::next(const std::wstring& element) {
    for (const auto prefix : {server_prefix, own_library_prefix, cache_prefix}) {
        if (!begins_with(element, prefix)) continue;
        const std::wstring tiers = element.substr(prefix.size());
        auto parameters = caches_ + tiers;
        if (prefix == cache_prefix) remember_cache(tiers);
        return parameters;
    }
    return std::nullopt;
}

void element_walk::remember_cache(const std::wstring& tiers) {
    const auto cache = tiers.substr(0, tiers.find_first_of(L"*;"));
    if (cache_count_ == most_caches || caches_.size() + cache.size() >= longest_caches) return;
    caches_ += cache + L'*';
    ++cache_count_;
}

}  // namespace qv::symbol_server
