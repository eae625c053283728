// Takes whole packets off a stream.
//
// A packet is one code byte, the payload length as a packed integer, and the payload.
#pragma once

#include <mutex>
#include <vector>

#include "core/src/stream/IReadCoreStream.h"

namespace qv {

class packet_reader {
public:
    // The stream is not owned and must outlive the reader.
    explicit packet_reader(IReadCoreStream& stream) noexcept : stream_(stream) {}

    // Receives one packet and returns its code; `payload` is filled. A null `payload` says that none is expected:
    // "Unexpectable packet data" is thrown if one follows. Failures of the stream pass through; after any failure the
    // stream is at an undefined position. Several threads may call: each takes one whole packet.
    unsigned char receive(std::vector<unsigned char>* payload);

private:
    IReadCoreStream& stream_;
    std::mutex mutex_;
};

}  // namespace qv
