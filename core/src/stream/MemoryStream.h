// Growable byte buffer that is written and read at one position.
#pragma once

#include <vector>

#include "core/src/stream/CoreStreams.h"

namespace qv {

class MemoryStream : public IWriteSeekCoreStream, public IReadSeekCoreStream {
public:
    // Overwrites in place after a seek back; grows the buffer to exactly the end of what is written.
    void Write(const void* source, std::uint64_t size) override;
    // Throws "No enought data to read" when fewer bytes are left.
    void Read(void* destination, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }
    void Seek(SeekOrigin origin, std::int64_t offset) override;

    const std::vector<unsigned char>& bytes() const noexcept { return bytes_; }

private:
    std::uint64_t position_ = 0;
    std::vector<unsigned char> bytes_;
};

}  // namespace qv
