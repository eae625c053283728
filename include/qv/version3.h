// A version of three components, compared in their order.
#pragma once

#include <tuple>

namespace qv {

template <class T>
struct version3 {
    T major;
    T minor;
    T build;

    bool operator==(const version3&) const = default;
    bool operator<(const version3& other) const {
        return std::tie(major, minor, build) < std::tie(other.major, other.minor, other.build);
    }
};

}  // namespace qv
