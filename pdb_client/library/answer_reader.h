// Takes an answer apart. The server is not trusted: a count is held against the bytes that are there before it is used.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/stream/MemoryStreams.h"

namespace qv::profiler::pdb_client {

// Throws qv::exception where the payload ends early.
class answer_reader {
public:
    explicit answer_reader(std::vector<unsigned char> payload)
        : payload_(std::move(payload)), stream_(payload_.data(), payload_.size()) {}
    answer_reader(const answer_reader&) = delete;
    answer_reader& operator=(const answer_reader&) = delete;

    IReadCoreStream& fields() noexcept { return stream_; }

    // `count` values of 32 bits, little-endian.
    std::vector<std::uint32_t> words(std::uint64_t count);

    std::vector<std::uint8_t> bytes(std::uint64_t count);

    // Throws qv::exception if anything is left.
    void finish() const;

private:
    void require(std::uint64_t size) const;

    std::vector<unsigned char> payload_;
    MemoryBlockStream stream_;
};

}  // namespace qv::profiler::pdb_client
