#include "symbol_services/symbol_server/path_rules.h"

#include <algorithm>
#include <array>

#include "text/ascii.h"
#include "text/utf.h"

namespace qv::symbol_store {
namespace {

bool is_separator(wchar_t unit) noexcept {
    return unit == L'\\' || unit == L'/';
}

bool is_well_formed(std::wstring_view name) noexcept {
    while (!name.empty()) {
        const bool is_pair = text::begins_with_pair(name);
        if (!is_pair && text::is_surrogate(name.front())) return false;
        name.remove_prefix(is_pair ? 2 : 1);
    }
    return true;
}

// Only what stands before the first dot decides: "NUL.pdb" is the device too.
bool is_device_name(std::wstring_view name) noexcept {
    static constexpr std::array<std::string_view, 7> names = {"CON",    "PRN",     "AUX",   "NUL",
                                                              "CONIN$", "CONOUT$", "CLOCK$"};
    // The superscript digits one, two and three count as digits here.
    static constexpr std::wstring_view digits = L"0123456789\u00B9\u00B2\u00B3";

    auto stem = name.substr(0, name.find(L'.'));
    while (!stem.empty() && stem.back() == L' ') stem.remove_suffix(1);
    if (stem.size() == 4 &&
        (text::starts_with_ignoring_case(stem, "COM") || text::starts_with_ignoring_case(stem, "LPT")))
        return digits.find(stem[3]) != std::wstring_view::npos;
    return std::any_of(names.begin(), names.end(),
                       [&](auto device) { return text::equal_ignoring_case(stem, device); });
}

// Takes the text up to the next separator, and that separator, off the front of `path`.
std::wstring_view take_component(std::wstring_view& path) noexcept {
    const auto end = std::find_if(path.begin(), path.end(), is_separator);
    const auto component = path.substr(0, static_cast<std::size_t>(end - path.begin()));
    path.remove_prefix(std::min(component.size() + 1, path.size()));
    return component;
}

// Takes two leading separators off the front of `path`: what follows is a host or a namespace.
bool take_network_prefix(std::wstring_view& path) noexcept {
    if (path.size() < 2 || !is_separator(path[0]) || !is_separator(path[1])) return false;
    path.remove_prefix(2);
    return true;
}

bool is_drive(std::wstring_view component) noexcept {
    return component.size() == 2 && component[1] == L':' && text::to_ascii_lower(component[0]) >= L'a' &&
           text::to_ascii_lower(component[0]) <= L'z';
}

bool is_special_share(std::wstring_view rest) noexcept {
    take_component(rest);
    const auto share = take_component(rest);
    return text::equal_ignoring_case(share, "pipe") || text::equal_ignoring_case(share, "mailslot");
}

// Takes the root off the front of `path`; false where it has none.
bool take_root(std::wstring_view& path) noexcept {
    if (take_network_prefix(path)) {
        const auto host = take_component(path);
        const auto share = take_component(path);
        return is_plain_component(host) && is_plain_component(share);
    }
#ifdef _WIN32
    if (!is_drive(path.substr(0, 2)) || path.size() < 3 || !is_separator(path[2])) return false;
    path.remove_prefix(3);
    return true;
#else
    if (path.empty() || path.front() != L'/') return false;
    path.remove_prefix(1);
    return true;
#endif
}

}  // namespace

bool is_plain_component(std::wstring_view name) noexcept {
    static constexpr std::wstring_view forbidden = L"<>:\"/\\|?*";
    if (name.empty() || name.size() > longest_component) return false;
    if (name.back() == L'.' || name.back() == L' ') return false;
    for (const wchar_t unit : name)
        if (unit < L' ' || forbidden.find(unit) != std::wstring_view::npos) return false;
    return is_well_formed(name) && !is_device_name(name);
}

bool is_device_path(std::wstring_view path) noexcept {
    if (!take_network_prefix(path)) return false;
    auto rest = path;
    const auto host = take_component(rest);
    if (host == L".") return true;
    if (host != L"?") return is_special_share(path);
    const auto drive = take_component(rest);
    if (is_drive(drive)) return false;
    return !text::equal_ignoring_case(drive, "UNC") || is_special_share(rest);
}

bool is_plain_absolute_path(std::wstring_view path) noexcept {
    if (is_device_path(path) || !take_root(path) || path.empty()) return false;
    while (!path.empty())
        if (!is_plain_component(take_component(path))) return false;
    return true;
}

}  // namespace qv::symbol_store
