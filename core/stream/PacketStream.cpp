#include "core/stream/PacketStream.h"

#include <algorithm>
#include <utility>

#include "core/packets.h"

namespace qv {

void PacketStream::Read(void* destination, std::uint64_t size) {
    Flush();
    channel_.Read(destination, size);
}

void PacketStream::Write(const void* source, std::uint64_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(source);
    const std::uint64_t fitting = std::min<std::uint64_t>(size, held_.size() - held_size_);
    std::copy_n(bytes, fitting, held_.data() + held_size_);
    held_size_ += static_cast<std::size_t>(fitting);
    if (fitting < size || packet_size(held_.data(), held_size_) == held_size_) Flush();
    if (fitting < size) channel_.Write(bytes + fitting, size - fitting);
}

void PacketStream::Flush() {
    // A channel that fails is not given the same bytes again.
    if (const std::size_t size = std::exchange(held_size_, 0); size != 0) channel_.Write(held_.data(), size);
}

}  // namespace qv
