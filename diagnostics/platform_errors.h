// What the operating system knows of errors: the seam between error_text.h and the platform.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qv::detail {

struct system_message {
    std::optional<std::string> text;  // as the system gives it, none if it has none
    bool language_missing = false;    // there is a text, but not in the language asked for
};

// Asks the operating system. Where a system has no such texts, the answer is always empty.
system_message platform_system_message(std::uint32_t code);

using system_message_source = system_message (*)(std::uint32_t code);

// Replaces what error_message() asks and returns what it asked before. For tests: production code never calls it.
system_message_source exchange_system_message_source(system_message_source source) noexcept;

// The HRESULT of the exception being handled if it is a _com_error, the COM support class's own; call it inside a catch
// block only.
std::optional<std::int32_t> current_com_error() noexcept;

}  // namespace qv::detail
