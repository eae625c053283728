// Positioning of a core stream.
#pragma once

#include <cstdint>

namespace qv {

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

}  // namespace qv
