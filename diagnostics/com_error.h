// The COM support class's exception, for code that does not know the platform.
#pragma once

#include <cstdint>
#include <optional>

namespace qv::detail {

// The HRESULT of the exception being handled if it is a _com_error; call it inside a catch block only.
std::optional<std::int32_t> current_com_error() noexcept;

}  // namespace qv::detail
