// Packets over a channel whose calls are dear, such as a pipe: one write for a packet.
#pragma once

#include <array>
#include <cstddef>

#include "core/stream/CoreStreams.h"

namespace qv {

// What passes through is the same bytes in the same order. A packet leaves inside the Write that completes it, so
// nothing of it waits for anything and its failure is told where it was written. One thread at a time.
class PacketStream final : public ICoreStream {
public:
    static constexpr std::size_t most_held = 16384;  // bytes of a packet that wait for the rest of it

    // The channel is not owned and must outlive the stream.
    explicit PacketStream(ICoreStream& channel) noexcept : channel_(channel) {}

    // Hands over first what has been written: the peer may wait for it.
    void Read(void* destination, std::uint64_t size) override;

    // Gathers a packet and hands it over in one call. Of one that is longer than what may be held, the rest is written
    // straight from where it lies.
    void Write(const void* source, std::uint64_t size) override;

    // Hands over what there is of a packet that is not whole.
    void Flush();

private:
    ICoreStream& channel_;
    std::array<unsigned char, most_held> held_;
    std::size_t held_size_ = 0;
};

}  // namespace qv
