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

tier make_tier(std::wstring_view location, std::wstring_view default_store) {
    if (location.empty()) return {tier::kind::directory, default_store};
    auto type = tier::kind::directory;
    if (starts_with_ignoring_case(location, L"http://") || starts_with_ignoring_case(location, L"https://"))
        type = tier::kind::http;
    else if (is_device_path(location) || location.find(L"://") != std::wstring_view::npos ||
             location.find(L'\0') != std::wstring_view::npos)
        type = tier::kind::unsupported;
    return {type, location};
}

std::vector<tier> make_tiers(std::wstring_view text, std::wstring_view default_store, bool has_cache) {
    std::vector<tier> tiers;
    if (make_tier(text, default_store).type == tier::kind::http && !has_cache)
        tiers.push_back(make_tier({}, default_store));
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

std::vector<element> parse_search_string(std::wstring_view text, std::wstring_view default_store) {
    if (text.empty()) return {{make_tiers(text, default_store, false), false}};

    std::vector<element> elements;
    bool has_cache = false;
    for (auto part : split(text, L';')) {
        if (part.empty()) continue;
        const bool is_cache = take_prefix(part, L"cache*");
        if (!is_cache && take_prefix(part, L"symsrv*")) {
            if (!is_this_library(take_library(part))) continue;
        } else if (!is_cache) {
            take_prefix(part, L"srv*");
        }
        elements.push_back({make_tiers(part, default_store, has_cache), is_cache});
        has_cache = has_cache || is_cache;
    }
    return elements;
}

}  // namespace qv::symbol_store
