#include "core/src/bridges/packet_writer.h"

namespace qv {

void packet_writer::send(unsigned char code, std::uint64_t size, const void* payload) {
    const std::lock_guard<std::mutex> lock(mutex_);
    stream_.Write(&code, 1);
    stream_.WritePacked(size);
    stream_.Write(payload, size);
}

}  // namespace qv
