#include "symbol_services/symbol_server/pointer_file.h"

#include <cstddef>
#include <stdexcept>

#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/path_rules.h"
#include "text/ascii.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::symbol_store {
namespace {

// Win32 paths have at most 32,767 units; the file may add a little around one.
constexpr std::size_t longest_text = std::size_t{64} * 1024;

std::wstring_view first_line(std::wstring_view text) {
    return text.substr(0, text.find_first_of(L"\r\n"));
}

std::wstring_view trim(std::wstring_view text) {
    constexpr std::wstring_view blanks = L" \t";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::wstring_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

bool leads_to_pointer(std::wstring_view path) {
    return qv::text::equal_ignoring_case(qv::text::file_name(path), "file.ptr");
}

boost::filesystem::path parse_wide_pointer(std::wstring_view text) {
    constexpr std::string_view prefix = "PATH:";
    if (!text.empty() && text.front() == L'\uFEFF') text.remove_prefix(1);
    text = trim(first_line(text));
    // Without a prefix as well: a message can never pass for an absolute path.
    if (qv::text::starts_with_ignoring_case(text, prefix)) text.remove_prefix(prefix.size());
    const auto path = trim(text);
    if (!is_plain_absolute_path(path) || leads_to_pointer(path)) return {};
    return qv::text::to_path(std::wstring(path));
}

}  // namespace

boost::filesystem::path parse_pointer(std::string_view text) {
    try {
        return parse_wide_pointer(qv::text::to_utf16(std::string(text)));
    } catch (const std::runtime_error&) {
        return {};
    }
}

boost::filesystem::path read_pointer_file(const boost::filesystem::path& path) {
    return parse_pointer(bytes_of(path, longest_text));
}

}  // namespace qv::symbol_store
