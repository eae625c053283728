#include <windows.h>

#include "base/holders.h"
#include "diagnostics/system_message.h"

namespace qv::detail {
namespace {

constexpr DWORD english_us = 1033;

}  // namespace

system_message platform_system_message(std::uint32_t code) {
    char* buffer = nullptr;
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
                       nullptr, code, english_us, reinterpret_cast<char*>(&buffer), 0, nullptr);
    const DWORD failure = GetLastError();
    const unique_hld<char*, deleter_LocalFree> owner(buffer);
    if (length == 0 || buffer == nullptr) return {std::nullopt, failure == ERROR_RESOURCE_LANG_NOT_FOUND};
    return {std::string(buffer, length), false};
}

}  // namespace qv::detail
