#include <windows.h>

#include <comdef.h>

#include "base/holders.h"
#include "diagnostics/platform_errors.h"

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

std::optional<std::int32_t> current_com_error() noexcept {
    try {
        throw;
    } catch (const _com_error& error) {
        return error.Error();
    } catch (...) {
        return std::nullopt;
    }
}

}  // namespace qv::detail
