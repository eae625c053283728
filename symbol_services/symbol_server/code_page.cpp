#include "symbol_services/symbol_server/code_page.h"

#include <windows.h>

namespace qv::symbol_store {
namespace {

// No text of this library comes near this length.
constexpr std::size_t longest_text = std::size_t{1} << 20;

std::optional<std::string> convert(std::wstring_view wide, DWORD flags, BOOL* replaced) {
    if (wide.empty()) return std::string();
    if (wide.size() > longest_text) return std::nullopt;
    const int count = static_cast<int>(wide.size());
    const int size = WideCharToMultiByte(CP_ACP, flags, wide.data(), count, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return std::nullopt;
    std::string narrow(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(CP_ACP, flags, wide.data(), count, narrow.data(), size, nullptr, replaced) != size)
        return std::nullopt;
    return narrow;
}

}  // namespace

std::optional<std::wstring> from_code_page(std::string_view narrow) {
    if (narrow.empty()) return std::wstring();
    if (narrow.size() > longest_text) return std::nullopt;
    const int count = static_cast<int>(narrow.size());
    const int size = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, narrow.data(), count, nullptr, 0);
    if (size <= 0) return std::nullopt;
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    if (MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, narrow.data(), count, wide.data(), size) != size)
        return std::nullopt;
    return wide;
}

std::optional<std::string> to_code_page(std::wstring_view wide) {
    // UTF-8 has every character and reports malformed text by a flag of its own.
    if (GetACP() == CP_UTF8) return convert(wide, WC_ERR_INVALID_CHARS, nullptr);
    BOOL replaced = FALSE;
    auto narrow = convert(wide, WC_NO_BEST_FIT_CHARS, &replaced);
    return replaced ? std::nullopt : narrow;
}

std::string to_readable_code_page(std::wstring_view wide) {
    return convert(wide, 0, nullptr).value_or(std::string());
}

}  // namespace qv::symbol_store
