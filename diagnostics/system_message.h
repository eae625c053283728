// The operating system's own text of an error code: the seam between error_text and the platform.
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

}  // namespace qv::detail
