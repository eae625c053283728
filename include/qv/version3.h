// A version of three components.
#pragma once

namespace qv {

template <class T>
struct version3 {
    T major;
    T minor;
    T build;

    bool operator==(const version3&) const = default;
};

}  // namespace qv
