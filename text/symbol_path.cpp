#include "text/symbol_path.h"

#include <algorithm>
#include <cstddef>

#include "text/ascii.h"

namespace qv::symbol_path {
namespace {

constexpr std::string_view cache_prefix = "cache*";
constexpr std::string_view server_prefix = "srv*";
constexpr std::string_view library_prefix = "symsrv*";
constexpr std::string_view own_library = "symsrv.dll";

constexpr int most_caches = 8;
constexpr std::size_t longest_caches = 4096;

template <class Element>
bool is_server(const Element& element) noexcept {
    return text::starts_with_ignoring_case(element, server_prefix) ||
           text::starts_with_ignoring_case(element, library_prefix) ||
           text::starts_with_ignoring_case(element, cache_prefix);
}

// All that may be a name and a password goes, also of an address that is malformed.
std::wstring shown_place(std::wstring_view place) {
    const auto scheme = place.find(L"://");
    if (scheme == std::wstring_view::npos) return std::wstring(place);
    const auto host = scheme + 3;
    std::wstring shown(place);
    if (const auto at = shown.rfind(L'@'); at != std::wstring::npos && at >= host)
        shown.replace(host, at - host, L"***");
    if (const auto query = shown.find(L'?', host); query != std::wstring::npos)
        shown.replace(query + 1, shown.size(), L"***");
    return shown;
}

}  // namespace

std::vector<std::wstring_view> split(std::wstring_view text, wchar_t separator, empty_parts empty) {
    std::vector<std::wstring_view> parts;
    for (;;) {
        const auto end = text.find(separator);
        if (const auto part = text.substr(0, end); !part.empty() || empty == empty_parts::kept) parts.push_back(part);
        if (end == std::wstring_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

element parse_element(std::wstring_view text) noexcept {
    const auto begins_with = [&](std::string_view prefix) { return text::starts_with_ignoring_case(text, prefix); };
    if (begins_with(cache_prefix)) return {element_kind::cache, {}, text.substr(cache_prefix.size())};
    if (begins_with(server_prefix)) return {element_kind::server, {}, text.substr(server_prefix.size())};
    if (!begins_with(library_prefix)) return {element_kind::directory, {}, {}};
    const auto rest = text.substr(library_prefix.size());
    const auto end = rest.find(L'*');
    if (end == std::wstring_view::npos) return {element_kind::server, rest, {}};
    return {element_kind::server, rest.substr(0, end), rest.substr(end + 1)};
}

bool is_server_element(std::wstring_view element) noexcept {
    return is_server(element);
}

bool is_server_element(std::string_view element) noexcept {
    return is_server(element);
}

bool is_cache_element(std::wstring_view element) noexcept {
    return text::starts_with_ignoring_case(element, cache_prefix);
}

bool is_cache_element(std::string_view element) noexcept {
    return text::starts_with_ignoring_case(element, cache_prefix);
}

std::wstring without_secrets(std::wstring_view element) {
    std::wstring shown;
    while (!element.empty()) {
        const auto end = std::min(element.find_first_of(L"*;"), element.size());
        shown += shown_place(element.substr(0, end));
        shown += element.substr(end, 1);
        element.remove_prefix(std::min(end + 1, element.size()));
    }
    return shown;
}

std::optional<std::wstring> element_walk::next(std::wstring_view element) {
    const auto parsed = parse_element(element);
    if (!parsed.tiers || (parsed.library && !text::equal_ignoring_case(*parsed.library, own_library)))
        return std::nullopt;
    auto parameters = caches_;
    parameters += *parsed.tiers;
    if (parsed.kind == element_kind::cache) remember_cache(*parsed.tiers);
    return parameters;
}

void element_walk::remember_cache(std::wstring_view tiers) {
    const auto cache = tiers.substr(0, tiers.find_first_of(L"*;"));
    if (cache_count_ == most_caches || caches_.size() + cache.size() >= longest_caches) return;
    caches_.append(cache) += L'*';
    ++cache_count_;
}

}  // namespace qv::symbol_path
