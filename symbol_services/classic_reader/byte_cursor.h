// Reads little-endian values from bytes in order: the bounds gate for everything that lies in memory.
//
// Nothing is owned; views that are handed out live as long as the bytes. Integers and plain records are read as they
// lie in the file.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

namespace qv::classic_reader {

static_assert(std::endian::native == std::endian::little, "records are read as they lie in the file");

class byte_cursor {
public:
    explicit byte_cursor(std::span<const unsigned char> bytes) noexcept : rest_(bytes) {}

    std::uint64_t remaining() const noexcept { return rest_.size(); }

    // All of these throw where the bytes end, and then leave the position where it was.
    template <class T>
    T read() {
        static_assert(std::is_trivially_copyable_v<T>);
        T value;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return value;
    }
    std::span<const unsigned char> take(std::uint64_t count);
    void skip(std::uint64_t count) { take(count); }
    std::string_view text();  // up to a NUL, which is consumed

    // Skips filling bytes, as many as there are.
    void skip_up_to(std::uint64_t count) noexcept;

private:
    std::span<const unsigned char> rest_;
};

constexpr std::uint64_t align4(std::uint64_t value) {
    return (value + 3) & ~std::uint64_t{3};
}

}  // namespace qv::classic_reader
