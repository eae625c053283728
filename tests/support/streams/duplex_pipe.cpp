#include "tests/support/streams/duplex_pipe.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace qv::testing {

void duplex_end::Read(void* destination, std::uint64_t size) {
    auto* to = static_cast<unsigned char*>(destination);
    std::unique_lock<std::mutex> lock(in_->mutex);
    while (size != 0) {
        in_->changed.wait(lock, [&] { return !in_->bytes.empty() || in_->closed; });
        if (in_->bytes.empty()) throw std::runtime_error("pipe is closed");
        const auto part = std::min<std::uint64_t>(size, in_->bytes.size());
        const auto end = in_->bytes.begin() + static_cast<std::ptrdiff_t>(part);
        to = std::copy(in_->bytes.begin(), end, to);
        in_->bytes.erase(in_->bytes.begin(), end);
        size -= part;
    }
}

void duplex_end::Write(const void* source, std::uint64_t size) {
    const auto* from = static_cast<const unsigned char*>(source);
    const std::lock_guard<std::mutex> lock(out_->mutex);
    if (out_->closed) throw std::runtime_error("pipe is closed");
    out_->bytes.insert(out_->bytes.end(), from, from + size);
    out_->changed.notify_all();
}

bool duplex_end::WaitForDataToRead(int milliseconds) {
    std::unique_lock<std::mutex> lock(in_->mutex);
    in_->changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                          [&] { return !in_->bytes.empty() || in_->closed; });
    if (in_->bytes.empty() && in_->closed) throw std::runtime_error("pipe is closed");
    return !in_->bytes.empty();
}

void duplex_end::Close() {
    for (const auto& one : {in_, out_}) {
        const std::lock_guard<std::mutex> lock(one->mutex);
        one->closed = true;
        one->changed.notify_all();
    }
}

duplex_pipe::duplex_pipe() {
    auto to_server = std::make_shared<duplex_end::channel>();
    auto to_client = std::make_shared<duplex_end::channel>();
    server = std::make_unique<duplex_end>(to_server, to_client);
    client = std::make_unique<duplex_end>(to_client, to_server);
}

}  // namespace qv::testing
