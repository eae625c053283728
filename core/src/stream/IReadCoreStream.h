// Reading side of the core streams: a block of bytes, and on top of it the value encodings of the bridge protocol.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quorvex/common/guid.h"

namespace qv {

// How a read fails when fewer bytes are left than asked for. The wording is known as it stands.
constexpr const char* no_data_message = "No enought data to read";

class IReadCoreStream {
public:
    // Reads exactly `size` bytes or throws and leaves the position where it was.
    virtual void Read(void* destination, std::uint64_t size) = 0;
    virtual ~IReadCoreStream() = default;

    // Packed integer (see IWriteCoreStream::WritePacked); longer forms than needed are accepted. Throws "Invalid
    // counter encoding" on a lead byte of 0xE0 or above.
    std::uint64_t ReadPacked();

    // A packed integer truncated to 32 bits: module ids, document ids, counts.
    std::uint32_t ReadPacked32();

    // Packed byte count and that many bytes of UTF-8, up to the first NUL among them.
    std::wstring ReadString();

    // The same as 8-bit text, all bytes kept.
    std::string ReadText();

    // 16 bytes in memory order.
    GUID ReadGuid();
};

// Resizes `bytes` to `size` and fills it from the stream. Up to 1 MiB this is one resize and one `Read`; a longer block
// is taken in steps of that size, so that memory grows only with bytes that have really come.
template <class Container>
void read_block(IReadCoreStream& stream, std::uint64_t size, Container& bytes) {
    constexpr std::uint64_t step = 1u << 20;
    bytes.clear();
    while (bytes.size() < size) {
        const std::uint64_t done = bytes.size();
        const std::uint64_t part = size - done < step ? size - done : step;
        bytes.resize(static_cast<std::size_t>(done + part));
        stream.Read(bytes.data() + done, part);
    }
}

}  // namespace qv
