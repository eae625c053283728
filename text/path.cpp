#include "text/path.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "text/utf.h"

namespace qv::text {
namespace {

// MAX_PATH less a name in 8.3 form: what is left for the path of a directory, the shorter one of the system's limits.
constexpr std::size_t shortest_long_path = 260 - 12;

constexpr const wchar_t* separators = L"/\\";

bool is_separator(wchar_t unit) {
    return unit == L'/' || unit == L'\\';
}

bool is_drive_letter(wchar_t unit) {
    return (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z');
}

// Takes the part up to the next separator, and the separator, off the front.
std::wstring_view take_segment(std::wstring_view& rest) {
    const auto segment = rest.substr(0, rest.find_first_of(separators));
    rest.remove_prefix(std::min(rest.size(), segment.size() + 1));
    return segment;
}

// Takes the root off the front of an absolute path and gives it with its prefix; empty for any other path.
std::wstring take_root(std::wstring_view& path) {
    if (begins_at_drive(path)) {
        const auto drive = take_segment(path);
        return std::wstring(L"\\\\?\\").append(drive);
    }
    if (path.size() > 2 && is_separator(path[0]) && is_separator(path[1])) {
        path.remove_prefix(2);
        const auto server = take_segment(path);
        const auto share = take_segment(path);
        // "?" and "." lead to other name spaces, where nothing is to be changed.
        if (server.empty() || share.empty() || server == L"?" || server == L".") return {};
        return std::wstring(L"\\\\?\\UNC\\").append(server).append(L"\\").append(share);
    }
    return {};
}

// A name without what the system removes from it in a path without prefix.
std::wstring_view plain_name(std::wstring_view name, bool is_last) {
    if (is_last) return name.substr(0, name.find_last_not_of(L" .") + 1);
    if (name.ends_with(L'.') && !name.ends_with(L"..")) name.remove_suffix(1);
    return name;
}

// The names on the way from the root, without the detours.
std::vector<std::wstring_view> names_of(std::wstring_view path) {
    std::vector<std::wstring_view> names;
    const bool ends_in_name = !path.empty() && !is_separator(path.back());
    while (!path.empty()) {
        const auto segment = take_segment(path);
        if (segment == L"..") {
            if (!names.empty()) names.pop_back();
            continue;
        }
        const auto name = plain_name(segment, ends_in_name && path.empty());
        if (!name.empty()) names.push_back(name);
    }
    return names;
}

}  // namespace

bool begins_at_drive(std::wstring_view path) noexcept {
    return path.size() > 2 && is_drive_letter(path[0]) && path[1] == L':' && is_separator(path[2]);
}

std::string_view file_name(std::string_view path) noexcept {
    return path.substr(path.find_last_of("/\\") + 1);
}

std::wstring_view file_name(std::wstring_view path) noexcept {
    return path.substr(path.find_last_of(separators) + 1);
}

boost::filesystem::path to_path(const std::wstring& utf16) {
#ifdef _WIN32
    return boost::filesystem::path(utf16);
#else
    return boost::filesystem::path(to_utf8(utf16));
#endif
}

std::wstring to_wide(const boost::filesystem::path& path) {
#ifdef _WIN32
    return path.native();
#else
    return to_utf16(path.native());
#endif
}

boost::filesystem::path to_system_path(const boost::filesystem::path& path) {
#ifdef _WIN32
    return path.size() < shortest_long_path ? path : boost::filesystem::path(to_long_path(path.native()));
#else
    return path;
#endif
}

std::wstring to_long_path(const std::wstring& path) {
    if (path.size() < shortest_long_path) return path;
    std::wstring_view rest = path;
    std::wstring result = take_root(rest);
    if (result.empty()) return path;
    for (const auto name : names_of(rest)) result.append(L"\\").append(name);
    if (is_separator(path.back())) result += L'\\';
    return result;
}

}  // namespace qv::text
