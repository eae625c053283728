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

byte_writer& byte_writer::packed_signed(std::int32_t value) {
    const std::uint32_t sign = value < 0 ? 1u : 0u;
    const auto rotated = [&](unsigned bits) {
        return (static_cast<std::uint32_t>(value) << 1 & ((1u << bits) - 1)) | sign;
    };
    if (value >= -0x40 && value < 0x40) return u8(rotated(7));
    if (value >= -0x2000 && value < 0x2000) {
        const std::uint32_t bits = rotated(14);
        return u8(0x80 | bits >> 8).u8(bits);
    }
    const std::uint32_t bits = rotated(29);
    return u8(0xC0 | bits >> 24).u8(bits >> 16).u8(bits >> 8).u8(bits);
}

void poke(bytes& data, std::size_t offset, std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) data.at(offset + i) = static_cast<unsigned char>(value >> (8 * i) & 0xFF);
}

}  // namespace qv::test
