#include "diagnostics/platform_errors.h"

namespace qv::detail {

system_message platform_system_message(std::uint32_t) {
    return {};
}

std::optional<std::int32_t> current_com_error() noexcept {
    return std::nullopt;  // nothing here can throw one
}

}  // namespace qv::detail
