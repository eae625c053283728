#include "core/stream/CoreStreams.h"

#include "text/utf.h"

namespace qv {
namespace {

std::uint64_t base_of(SeekOrigin origin, std::uint64_t position, std::uint64_t size,
                      const detail::seek_faults& faults) {
    switch (origin) {
        case SeekOrigin::Begin: return 0;
        case SeekOrigin::Current: return position;
        case SeekOrigin::End: return size;
    }
    throw_error("Unknown origin", faults.unknown_origin);
}

}  // namespace

std::uint64_t IReadCoreStream::ReadPacked() {
    static constexpr throw_site here{"unsigned __int64 __cdecl IReadCoreStream::ReadPacked(void)",
                                     "core/src/stream/IReadCoreStream"};
    const auto get = [this] {
        unsigned char byte = 0;
        Read(&byte, 1);
        return byte;
    };
    const unsigned char lead = get();
    if (lead >= 0xE0) throw_error("Invalid counter encoding", {here, 115});
    // The more bytes follow, the more of its bits tell so.
    std::uint64_t value = lead < 0x80 ? lead : lead < 0xC0 ? lead & 0x3F : lead & 0x1F;
    for (std::size_t left = packed_size(lead) - 1; left != 0; --left) value = (value << 8) | get();
    return value;
}

std::uint32_t IReadCoreStream::ReadPacked32() {
    return static_cast<std::uint32_t>(ReadPacked());
}

std::wstring IReadCoreStream::ReadString() {
    return text::to_utf16(ReadText());
}

std::string IReadCoreStream::ReadText() {
    std::string bytes;
    read_block(*this, ReadPacked(), bytes);
    return bytes;
}

GUID IReadCoreStream::ReadGuid() {
    GUID value;
    Read(&value, sizeof value);
    return value;
}

void IWriteCoreStream::WritePacked(const std::uint64_t& value) {
    static constexpr throw_site here{"void __cdecl IWriteCoreStream::WritePacked(const unsigned __int64 &)",
                                     "core/src/stream/IWriteCoreStream"};
    const auto put = [this](std::uint64_t byte) {
        const auto narrow = static_cast<unsigned char>(byte);
        Write(&narrow, 1);
    };
    if (value <= 0x7F) return put(value);
    if (value <= 0x3FFF) {
        put(0x80 | (value >> 8));
        return put(value & 0xFF);
    }
    if (value > 0x1FFFFFFF) throw_error("Too large value", {here, 104});
    put(0xC0 | (value >> 24));
    put((value >> 16) & 0xFF);
    put((value >> 8) & 0xFF);
    put(value & 0xFF);
}

void IWriteCoreStream::WriteString(std::wstring_view utf16) {
    WriteText(text::to_utf8(utf16));
}

void IWriteCoreStream::WriteText(std::string_view text) {
    WritePacked(text.size());
    Write(text.data(), text.size());
}

void IWriteCoreStream::WriteGuid(const GUID& value) {
    Write(&value, sizeof value);
}

std::uint64_t detail::seek_position(SeekOrigin origin, std::int64_t offset, std::uint64_t position, std::uint64_t size,
                                    const seek_faults& faults) {
    const std::uint64_t base = base_of(origin, position, size, faults);
    if (offset < 0) {
        const std::uint64_t magnitude = 0 - static_cast<std::uint64_t>(offset);
        if (base < magnitude) throw_error("Negative offset", faults.negative_offset);
        return base - magnitude;
    }
    // base never exceeds the size, so the room that is left cannot wrap.
    if (static_cast<std::uint64_t>(offset) > size - base) throw_error("Too large offset", faults.too_large_offset);
    return base + static_cast<std::uint64_t>(offset);
}

}  // namespace qv
