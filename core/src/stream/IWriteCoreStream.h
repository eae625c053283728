// Writing side of the core streams: a block of bytes, and on top of it the value encodings of the bridge protocol.
#pragma once

#include <cstdint>
#include <string_view>

#include "quorvex/common/guid.h"

namespace qv {

class IWriteCoreStream {
public:
    // Writes exactly `size` bytes or throws.
    virtual void Write(const void* source, std::uint64_t size) = 0;
    virtual ~IWriteCoreStream() = default;

    // Packed integer: big-endian, 1, 2 or 4 bytes, the shortest that holds the value. Throws "Too large value" above
    // 0x1FFFFFFF, before anything is written.
    void WritePacked(const std::uint64_t& value);

    // Packed byte count, then the text in UTF-8, no terminator.
    void WriteString(std::wstring_view utf16);

    // Packed byte count, then the bytes of an 8-bit text.
    void WriteText(std::string_view text);

    // The 16 bytes as they lie in memory, no length.
    void WriteGuid(const GUID& value);
};

}  // namespace qv
