#include "base/guid.h"

#include <cstdio>

namespace quorvex::common {
namespace {

// The 64-bit step of MurmurHash2 as hash-combine uses it.
std::uint64_t hash_combine(std::uint64_t seed, std::uint64_t word) noexcept {
    constexpr std::uint64_t multiplier = 0xc6a4a7935bd1e995;
    constexpr int shift = 47;
    word *= multiplier;
    word ^= word >> shift;
    word *= multiplier;
    seed ^= word;
    seed *= multiplier;
    return seed + 0xe6546b64;
}

template <std::size_t Size, class... Args>
std::string format_into(const char* format, Args... args) {
    char text[Size];
    std::snprintf(text, sizeof text, format, args...);
    return text;
}

}  // namespace

std::size_t guid_hash::operator()(const GUID& value) const noexcept {
    std::uint64_t words[2];
    std::memcpy(words, &value, sizeof words);
    return static_cast<std::size_t>(hash_combine(hash_combine(0, words[0]), words[1]));
}

std::string to_string(const GUID& value) {
    const auto& d = value.Data4;
    return format_into<39>("{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", static_cast<unsigned>(value.Data1),
                           value.Data2, value.Data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
}

std::wstring to_store_key(const GUID& value) {
    const auto& d = value.Data4;
    const auto text =
        format_into<33>("%08X%04X%04X%02X%02X%02X%02X%02X%02X%02X%02X", static_cast<unsigned>(value.Data1), value.Data2,
                        value.Data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
    return {text.begin(), text.end()};
}

}  // namespace quorvex::common
