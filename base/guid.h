// The platform's GUID, its equality and its hash, for code that does not know <windows.h>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#ifdef _WIN32
#include <guiddef.h>
#else
// Same layout as the platform's: on the wire and on disk a GUID is its 16 bytes in this order, integers little-endian.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};

inline bool operator==(const GUID& left, const GUID& right) noexcept {
    return std::memcmp(&left, &right, sizeof(GUID)) == 0;
}

inline bool operator!=(const GUID& left, const GUID& right) noexcept {
    return !(left == right);
}
#endif

static_assert(sizeof(GUID) == 16);

namespace quorvex::common {

// Hash of a GUID: its bytes as two 64-bit words, combined in order with the 64-bit hash-combine step.
struct guid_hash {
    std::size_t operator()(const GUID& value) const noexcept;
};

// "{7d3be11c-9bd2-4ca7-a626-1c82b93935a9}": the registry form, lower case.
std::string to_string(const GUID& value);

// 32 hexadecimal digits in upper case without separators: the form that symbol stores use in directory names.
std::wstring to_store_key(const GUID& value);

}  // namespace quorvex::common
