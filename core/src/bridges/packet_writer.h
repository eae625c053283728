// Puts whole packets on a stream (see packet_reader for their form).
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "core/src/stream/IWriteCoreStream.h"

namespace qv {

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
