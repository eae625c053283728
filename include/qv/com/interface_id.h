// The ids of COM interfaces by their C++ types, without compiler extensions. Windows only.
#pragma once

#include <unknwn.h>

namespace qv::com {

// Specialised beside the declaration of each interface: static constexpr GUID value.
template <class Interface>
struct interface_id;

template <>
struct interface_id<IUnknown> {
    static constexpr GUID value{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
};

template <>
struct interface_id<IClassFactory> {
    static constexpr GUID value{0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
};

template <class Interface>
inline constexpr const GUID& iid_of = interface_id<Interface>::value;

}  // namespace qv::com
