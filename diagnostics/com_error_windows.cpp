#include <comdef.h>

#include "diagnostics/com_error.h"

namespace qv::detail {

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
