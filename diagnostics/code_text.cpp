// Error codes as text: the part of error_text.h that knows codes only.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <iterator>

#include "diagnostics/error_text.h"
#include "diagnostics/platform_errors.h"

namespace qv {
namespace {

// The built-in names and messages, generated from hresults.tsv (see cmake/hresult_table.cmake).
struct hresult_entry {
    std::uint32_t code;
    const char* name;
    const char* message;  // null: the code has a name only
};

constexpr hresult_entry table[] = {
#include "hresult_table.inc"
};

constexpr bool before(const hresult_entry& left, const hresult_entry& right) {
    return left.code < right.code;
}

static_assert(std::adjacent_find(std::begin(table), std::end(table),
                                 [](const auto& left, const auto& right) { return !before(left, right); }) ==
                  std::end(table),
              "the table is searched by halves: its codes must rise");

// The entry of the code, or null.
const hresult_entry* find_hresult(std::uint32_t code) noexcept {
    const auto* found =
        std::lower_bound(std::begin(table), std::end(table), hresult_entry{code, nullptr, nullptr}, before);
    return found != std::end(table) && found->code == code ? found : nullptr;
}

struct generic_name {
    std::uint32_t code;
    const char* name;
};

// Recognised before the table, which need not repeat them.
constexpr generic_name generic_names[] = {
    {0x80004001, "E_NOTIMPL"},      {0x80004002, "E_NOINTERFACE"}, {0x80004003, "E_POINTER"},
    {0x80004004, "E_ABORT"},        {0x80004005, "E_FAIL"},        {0x8000FFFF, "E_UNEXPECTED"},
    {0x80070005, "E_ACCESSDENIED"}, {0x80070006, "E_HANDLE"},      {0x8007000E, "E_OUTOFMEMORY"},
    {0x80070057, "E_INVALIDARG"},
};

std::atomic<detail::system_message_source> system_messages{&detail::platform_system_message};

std::optional<std::string> built_in_message(std::uint32_t code) {
    const auto* entry = find_hresult(code);
    if (entry == nullptr || entry->message == nullptr) return std::nullopt;
    return entry->message;
}

// A text that is nothing but full stops and line ends becomes empty, and stays a text.
std::string without_trailing_stops(const std::string& text) {
    return text.substr(0, text.find_last_not_of("\r\n.") + 1);
}

std::string code_text(std::uint32_t code, const char* format) {
    std::array<char, 11> digits;  // the widest: ten decimal digits and the terminator
    std::snprintf(digits.data(), digits.size(), format, static_cast<unsigned>(code));
    std::string text = digits.data();
    if (const char* name = symbolic_name(code)) text.append(", ").append(name);
    if (const auto message = error_message(code)) text.append(", ").append(*message);
    return text;
}

}  // namespace

detail::system_message_source detail::exchange_system_message_source(system_message_source source) noexcept {
    return system_messages.exchange(source);
}

std::optional<std::string> error_message(std::uint32_t code) {
    auto message = system_messages.load()(code);
    // A system that only lacks the language knows the code: another text would not be the code's own.
    if (!message.text && !message.language_missing) message.text = built_in_message(code);
    if (!message.text) return std::nullopt;
    return without_trailing_stops(*message.text);
}

const char* symbolic_name(std::uint32_t code) noexcept {
    for (const auto& generic : generic_names)
        if (generic.code == code) return generic.name;
    const auto* entry = find_hresult(code);
    return entry != nullptr ? entry->name : nullptr;
}

std::string win32_code_text(std::uint32_t code) {
    return code_text(code, "%u");
}

std::string hresult_code_text(std::int32_t code) {
    return code_text(static_cast<std::uint32_t>(code), "%08x");
}

}  // namespace qv
