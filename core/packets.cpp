#include "core/packets.h"

#include "core/stream/MemoryStreams.h"

namespace qv {

std::optional<std::uint64_t> packet_size(const unsigned char* bytes, std::size_t count) {
    if (count < 2) return {};
    const std::size_t length_size = packed_size(bytes[1]);
    if (count < 1 + length_size) return {};
    return 1 + length_size + MemoryBlockStream(bytes + 1, length_size).ReadPacked();
}

unsigned char packet_reader::receive(std::vector<unsigned char>* payload) {
    static constexpr throw_site here{
        "unsigned char __cdecl packet_reader::receive(class std::vector<unsigned char,class std::allocator<unsigned "
        "char> > *)",
        "core/src/bridges/packet_reader"};
    const std::lock_guard<std::mutex> lock(mutex_);
    unsigned char code = 0;
    stream_.Read(&code, 1);
    const std::uint64_t length = stream_.ReadPacked();
    if (payload != nullptr)
        read_block(stream_, length, *payload);
    else if (length != 0)
        throw_error("Unexpectable packet data", {here, 23});
    return code;
}

void packet_writer::send(unsigned char code, std::uint64_t size, const void* payload) {
    const std::lock_guard<std::mutex> lock(mutex_);
    stream_.Write(&code, 1);
    stream_.WritePacked(size);
    stream_.Write(payload, size);
}

}  // namespace qv
