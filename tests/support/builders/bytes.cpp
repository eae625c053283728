#include "tests/support/builders/bytes.h"

#include <stdexcept>

namespace qv::test {

byte_writer& byte_writer::integer(std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) data_.push_back(static_cast<unsigned char>(value >> (8 * i) & 0xFF));
    return *this;
}

byte_writer& byte_writer::guid(const GUID& value) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(&value);
    return put(begin, begin + sizeof value);
}

byte_writer& byte_writer::packed(std::uint32_t value) {
    if (value < 0x80) return u8(value);
    if (value < 0x4000) return u8(0x80 | value >> 8).u8(value);
    if (value >= 0x20000000) throw std::invalid_argument("value has no compressed form");
    return u8(0xC0 | value >> 24).u8(value >> 16).u8(value >> 8).u8(value);
}

void poke(bytes& data, std::size_t offset, std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) data.at(offset + i) = static_cast<unsigned char>(value >> (8 * i) & 0xFF);
}

}  // namespace qv::test
