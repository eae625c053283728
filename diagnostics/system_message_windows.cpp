#include <windows.h>

#include <memory>

#include "diagnostics/system_message.h"

namespace qv::detail {
namespace {

constexpr DWORD english_us = 1033;

struct local_free {
    void operator()(char* text) const noexcept { LocalFree(text); }
};

}  // namespace

system_message platform_system_message(std::uint32_t code) {
    char* buffer = nullptr;
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
                       nullptr, code, english_us, reinterpret_cast<char*>(&buffer), 0, nullptr);
    const DWORD failure = GetLastError();
    const std::unique_ptr<char, local_free> owner(buffer);
    if (length == 0 || buffer == nullptr) return {std::nullopt, failure == ERROR_RESOURCE_LANG_NOT_FOUND};
    return {std::string(buffer, length), false};
}

}  // namespace qv::detail
