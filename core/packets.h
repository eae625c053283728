// Whole packets over streams: one code byte, the payload length as a packed integer, and the payload.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

#include "core/stream/CoreStreams.h"

namespace qv {

// The size of the packet that begins with these bytes, header included; nothing while they do not tell it. Throws for a
// length that is no packed integer.
std::optional<std::uint64_t> packet_size(const unsigned char* bytes, std::size_t count);

// Takes them off a stream.
class packet_reader {
public:
    // The stream is not owned and must outlive the reader.
    explicit packet_reader(IReadCoreStream& stream) noexcept : stream_(stream) {}

    // Receives one packet and returns its code; `payload` is filled. A null `payload` says that none is expected: one
    // that follows is a failure. Failures of the stream pass through; after any failure the stream is at an undefined
    // position. Several threads may call: each takes one whole packet.
    unsigned char receive(std::vector<unsigned char>* payload);

private:
    IReadCoreStream& stream_;
    std::mutex mutex_;
};

// Puts them on a stream.
class packet_writer {
public:
    // The stream is not owned and must outlive the writer.
    explicit packet_writer(IWriteCoreStream& stream) noexcept : stream_(stream) {}

    // Sends one packet; `payload` may be null when `size` is 0. Several threads may call: packets never interleave.
    void send(unsigned char code, std::uint64_t size, const void* payload);

private:
    IWriteCoreStream& stream_;
    std::mutex mutex_;
};

}  // namespace qv
