#include "diagnostics/com_error.h"

namespace qv::detail {

std::optional<std::int32_t> current_com_error() noexcept {
    return std::nullopt;  // nothing here can throw one
}

}  // namespace qv::detail
