// Puts little-endian bytes together for test input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "base/guid.h"

namespace qv::test {

using bytes = std::vector<unsigned char>;

// Appends; every operation returns the writer, so that calls chain.
class byte_writer {
public:
    byte_writer& u8(std::uint64_t value) { return integer(value, 1); }
    byte_writer& u16(std::uint64_t value) { return integer(value, 2); }
    byte_writer& u32(std::uint64_t value) { return integer(value, 4); }
    byte_writer& u64(std::uint64_t value) { return integer(value, 8); }
    byte_writer& integer(std::uint64_t value, unsigned width);
    byte_writer& guid(const GUID& value);
    byte_writer& text(std::string_view value) { return put(value.begin(), value.end()); }  // without a terminator
    byte_writer& append(const bytes& value) { return put(value.begin(), value.end()); }
    byte_writer& zeros(std::size_t count) { return append(bytes(count)); }
    byte_writer& align(std::size_t alignment) { return zeros((alignment - data_.size() % alignment) % alignment); }

    // A compressed integer of metadata, in its shortest form.
    byte_writer& packed(std::uint32_t value);

    std::size_t size() const noexcept { return data_.size(); }
    const bytes& data() const noexcept { return data_; }

private:
    template <class Iterator>
    byte_writer& put(Iterator begin, Iterator end) {
        // One by one: the compiler takes the range's insertion into an empty vector for an overflow.
        for (; begin != end; ++begin) data_.push_back(static_cast<unsigned char>(*begin));
        return *this;
    }

    bytes data_;
};

// Overwrites bytes in the middle.
void poke(bytes& data, std::size_t offset, std::uint64_t value, unsigned width);

}  // namespace qv::test
