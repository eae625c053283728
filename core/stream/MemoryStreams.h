// The core streams over bytes in memory.
#pragma once

#include <vector>

#include "core/stream/CoreStreams.h"

namespace qv {

// Growable byte buffer that is written and read at one position.
class MemoryStream : public IWriteSeekCoreStream, public IReadSeekCoreStream {
public:
    // Overwrites in place after a seek back; grows the buffer to exactly the end of what is written.
    void Write(const void* source, std::uint64_t size) override;
    void Read(void* destination, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }
    void Seek(SeekOrigin origin, std::int64_t offset) override;

    // Empties the stream; what is written next finds its memory there.
    void Clear() noexcept;

    const std::vector<unsigned char>& bytes() const noexcept { return bytes_; }

private:
    std::uint64_t position_ = 0;
    std::vector<unsigned char> bytes_;
};

// Read-only stream over a block of bytes that somebody else owns and keeps alive.
class MemoryBlockStream : public IReadSeekCoreStream {
public:
    explicit MemoryBlockStream(const std::vector<unsigned char>& block) noexcept
        : MemoryBlockStream(block.data(), block.size()) {}
    MemoryBlockStream(const unsigned char* data, std::uint64_t size) noexcept
        : data_(size == 0 ? nullptr : data), size_(size) {}

    MemoryBlockStream(const MemoryBlockStream&) = delete;
    MemoryBlockStream& operator=(const MemoryBlockStream&) = delete;

    void Read(void* destination, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }
    void Seek(SeekOrigin origin, std::int64_t offset) override;

private:
    const unsigned char* data_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
};

}  // namespace qv
