// A version of three components, compared in their order.
#pragma once

#include <compare>

namespace qv {

template <class T>
struct version3 {
    T major;
    T minor;
    T build;

    auto operator<=>(const version3&) const = default;
};

}  // namespace qv
