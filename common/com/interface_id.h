// The ids of COM interfaces by their C++ types, without compiler extensions. Windows only.
#pragma once

#include <unknwn.h>

namespace qv::com {

// An interface that is declared here carries its id: static constexpr GUID iid. Those of the platform are named below.
template <class Interface>
inline constexpr GUID iid_of = Interface::iid;

template <>
inline constexpr GUID iid_of<IUnknown>{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
template <>
inline constexpr GUID iid_of<IClassFactory>{0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

}  // namespace qv::com
