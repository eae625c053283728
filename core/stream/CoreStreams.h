// The core stream interfaces: blocks of bytes, on top of them the value encodings of the bridge protocol, and a
// position where a stream has one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/exception.h"
#include "base/guid.h"

namespace qv {

// How a read fails when fewer bytes are left than asked for. The wording is known as it stands.
constexpr const char* no_data_message = "No enought data to read";

// The bytes of a packed integer by the first of them, which is below 0xE0.
constexpr std::size_t packed_size(unsigned char lead) noexcept {
    return lead < 0x80 ? 1 : lead < 0xC0 ? 2 : 4;
}

// All failures are qv::exception, or what the channel below throws.
class IReadCoreStream {
public:
    // Reads exactly `size` bytes or throws and leaves the position where it was.
    virtual void Read(void* destination, std::uint64_t size) = 0;
    virtual ~IReadCoreStream() = default;

    // Packed integer (see IWriteCoreStream::WritePacked); longer forms than needed are accepted, a lead byte of
    // 0xE0 or above is not.
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

class IWriteCoreStream {
public:
    // Writes exactly `size` bytes or throws.
    virtual void Write(const void* source, std::uint64_t size) = 0;
    virtual ~IWriteCoreStream() = default;

    // Packed integer: big-endian, 1, 2 or 4 bytes, the shortest that holds the value. Fails above 0x1FFFFFFF,
    // before anything is written.
    void WritePacked(const std::uint64_t& value);

    // Packed byte count, then the text in UTF-8, no terminator.
    void WriteString(std::wstring_view utf16);

    // Packed byte count, then the bytes of an 8-bit text.
    void WriteText(std::string_view text);

    // The 16 bytes as they lie in memory, no length.
    void WriteGuid(const GUID& value);
};

enum class SeekOrigin : std::int32_t {
    Begin = 0,    // from the first byte
    Current = 1,  // from the current position
    End = 2,      // from the byte after the last
};

class ISeekStream {
public:
    virtual std::uint64_t GetPosition() const = 0;

    // Moves to origin + offset; the end itself may be reached, nothing beyond it and nothing before the beginning.
    virtual void Seek(SeekOrigin origin, std::int64_t offset) = 0;

protected:
    ~ISeekStream() = default;
};

class IReadSeekCoreStream : public IReadCoreStream, public ISeekStream {};

class IWriteSeekCoreStream : public IWriteCoreStream, public ISeekStream {};

// Both directions over one channel, such as a pipe.
class ICoreStream : public IReadCoreStream, public IWriteCoreStream {};

namespace detail {

// The rule that all streams with a position share. Where each of the three checks fails.
struct seek_faults {
    throw_location unknown_origin;
    throw_location negative_offset;
    throw_location too_large_offset;
};

// The new position; throws qv::exception.
std::uint64_t seek_position(SeekOrigin origin, std::int64_t offset, std::uint64_t position, std::uint64_t size,
                            const seek_faults& faults);

}  // namespace detail

}  // namespace qv
