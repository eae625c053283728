// Read-only stream over a block of bytes that somebody else owns and keeps alive.
#pragma once

#include <vector>

#include "core/src/stream/CoreStreams.h"

namespace qv {

class MemoryBlockStream : public IReadSeekCoreStream {
public:
    explicit MemoryBlockStream(const std::vector<unsigned char>& block) noexcept
        : MemoryBlockStream(block.data(), block.size()) {}
    MemoryBlockStream(const unsigned char* data, std::uint64_t size) noexcept
        : data_(size == 0 ? nullptr : data), size_(size) {}

    MemoryBlockStream(const MemoryBlockStream&) = delete;
    MemoryBlockStream& operator=(const MemoryBlockStream&) = delete;

    // Throws "No enought data to read" when fewer bytes are left.
    void Read(void* destination, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }
    void Seek(SeekOrigin origin, std::int64_t offset) override;

private:
    const unsigned char* data_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
};

}  // namespace qv
