#include "symbol_services/symbol_server/search_string.h"

#include "symbol_services/symbol_server/path_rules.h"
#include "text/ascii.h"
#include "text/path.h"
#include "text/symbol_path.h"

namespace qv::symbol_store {
namespace {

// True where `library` names this library, with or without a directory and the extension.
bool is_this_library(std::wstring_view library) {
    library = text::file_name(library);
    return text::equal_ignoring_case(library, "symsrv.dll") || text::equal_ignoring_case(library, "symsrv");
}

tier make_tier(std::wstring_view location, std::wstring_view default_store) {
    if (location.empty()) return {tier::kind::directory, default_store};
    auto type = tier::kind::directory;
    if (text::starts_with_ignoring_case(location, "http://") || text::starts_with_ignoring_case(location, "https://"))
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
    for (const auto location : symbol_path::split(text, L'*', symbol_path::empty_parts::kept))
        tiers.push_back(make_tier(location, default_store));
    return tiers;
}

}  // namespace

std::vector<element> parse_search_string(std::wstring_view text, std::wstring_view default_store) {
    if (text.empty()) return {{make_tiers(text, default_store, false), false}};

    std::vector<element> elements;
    bool has_cache = false;
    for (const auto part : symbol_path::split(text, L';', symbol_path::empty_parts::left_out)) {
        const auto parsed = symbol_path::parse_element(part);
        if (parsed.library && !is_this_library(*parsed.library)) continue;
        // What has no prefix is tiers: a caller has cut it off.
        const bool is_bare = parsed.kind == symbol_path::element_kind::directory;
        const bool is_cache = parsed.kind == symbol_path::element_kind::cache;
        const auto tiers = is_bare ? part : parsed.tiers.value_or(std::wstring_view());
        elements.push_back({make_tiers(tiers, default_store, has_cache), is_cache});
        has_cache = has_cache || is_cache;
    }
    return elements;
}

}  // namespace qv::symbol_store
