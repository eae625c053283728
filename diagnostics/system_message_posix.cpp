#include "diagnostics/system_message.h"

namespace qv::detail {

system_message platform_system_message(std::uint32_t) {
    return {};
}

}  // namespace qv::detail
