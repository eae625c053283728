// Packets over a channel whose calls are dear, such as a pipe: one call for a packet in either direction.
#pragma once

#include <array>
#include <cstddef>

#include "core/stream/CoreStreams.h"

namespace qv {

// What passes through is the same bytes in the same order. A packet leaves inside the Write that completes it, so
// nothing of it waits for anything and its failure is told where it was written. One thread at a time.
class PacketStream final : public ICoreStream {
public:
    static constexpr std::size_t most_received = 4096;  // bytes read ahead
    static constexpr std::size_t most_held = 16384;     // bytes of a packet that wait for the rest of it

    // The channel is not owned and must outlive the stream.
    explicit PacketStream(IChannelStream& channel) noexcept : channel_(channel) {}

    // True when the next byte is here already, so that it need not be waited for.
    bool HasData() const noexcept { return begin_ != end_; }

    // Takes what has come in one call and keeps what was not asked for. A block that is longer than what may be kept is
    // read straight to where it belongs.
    void Read(void* destination, std::uint64_t size) override;

    // Gathers a packet and hands it over in one call. Of one that is longer than what may be held, the rest is written
    // straight from where it lies.
    void Write(const void* source, std::uint64_t size) override;

    // Hands over what there is of a packet that is not whole. A Read that has to wait does so too.
    void Flush();

private:
    IChannelStream& channel_;
    std::array<unsigned char, most_received> received_;  // [begin_, end_) is still to be handed out
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::array<unsigned char, most_held> held_;
    std::size_t held_size_ = 0;
};

}  // namespace qv
