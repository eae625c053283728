#include "symbol_services/symbol_server/search_string.h"

#include "symbol_services/symbol_server/path_rules.h"

namespace qv::symbol_store {
namespace {

std::vector<std::wstring_view> split(std::wstring_view text, wchar_t separator) {
    std::vector<std::wstring_view> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::wstring_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

bool take_prefix(std::wstring_view& text, std::wstring_view prefix) {
    if (!starts_with_ignoring_case(text, prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

// True where `library` names this library, with or without a directory and the extension.
bool is_this_library(std::wstring_view library) {
    library.remove_prefix(library.find_last_of(L"\\/") + 1);
    return equal_ignoring_case(library, L"symsrv.dll") || equal_ignoring_case(library, L"symsrv");
}

tier make_tier(std::wstring_view location, const std::wstring& default_store) {
    if (location.empty()) return {tier::kind::directory, default_store};
    auto type = tier::kind::directory;
    if (location.find(L"://") != std::wstring_view::npos)
        type = tier::kind::remote;
    else if (is_device_path(location) || location.find(L'\0') != std::wstring_view::npos)
        type = tier::kind::unsupported;
    return {type, std::wstring(location)};
}

tier_chain make_tiers(std::wstring_view text, const std::wstring& default_store) {
    tier_chain tiers;
    for (const auto location : split(text, L'*')) tiers.push_back(make_tier(location, default_store));
    return tiers;
}

// Takes "library" or "library*" off the front of what follows "symsrv*".
std::wstring_view take_library(std::wstring_view& text) {
    const auto end = text.find(L'*');
    const auto library = text.substr(0, end);
    text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    return library;
}

}  // namespace

std::vector<tier_chain> parse_search_string(std::wstring_view text, const std::wstring& default_store) {
    if (text.empty()) return {make_tiers(text, default_store)};

    std::vector<tier_chain> chains;
    tier_chain cache;
    for (auto element : split(text, L';')) {
        if (element.empty()) continue;
        const bool is_cache = take_prefix(element, L"cache*");
        if (!is_cache && take_prefix(element, L"symsrv*")) {
            if (!is_this_library(take_library(element))) continue;
        } else if (!is_cache) {
            take_prefix(element, L"srv*");
        }
        auto chain = cache;
        const auto tiers = make_tiers(element, default_store);
        chain.insert(chain.end(), tiers.begin(), tiers.end());
        if (is_cache && cache.empty()) cache.push_back(tiers.front());
        chains.push_back(std::move(chain));
    }
    return chains;
}

}  // namespace qv::symbol_store
