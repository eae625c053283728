#include "core/src/stream/IReadCoreStream.h"

#include "qv/diagnostics/exception.h"
#include "qv/text/utf.h"

namespace qv {

std::uint64_t IReadCoreStream::ReadPacked() {
    static constexpr throw_site here{"unsigned __int64 __cdecl IReadCoreStream::ReadPacked(void)",
                                     "core/src/stream/IReadCoreStream"};
    const auto get = [this]() -> std::uint64_t {
        unsigned char byte = 0;
        Read(&byte, 1);
        return byte;
    };
    const std::uint64_t lead = get();
    if ((lead & 0x80) == 0) return lead;
    if ((lead & 0xC0) == 0x80) return ((lead & 0x3F) << 8) | get();
    if ((lead & 0xE0) == 0xC0) {
        std::uint64_t value = lead & 0x1F;
        for (int i = 0; i < 3; ++i) value = (value << 8) | get();
        return value;
    }
    throw_error("Invalid counter encoding", {here, 115});
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

}  // namespace qv
