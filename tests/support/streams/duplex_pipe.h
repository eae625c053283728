// Two connected in-memory ends for conversations within one process.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "core/stream/CoreStreams.h"

namespace qv::testing {

// One end of a duplex pipe: what one end writes the other reads. Read blocks until all bytes have come and throws
// std::runtime_error("pipe is closed") when they cannot come any more. Each end is used by one thread.
class duplex_end : public ICoreStream {
public:
    struct shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<unsigned char> written[2];  // by each end
        bool closed = false;
    };

    duplex_end(shared& pipe, int side) noexcept : pipe_(pipe), in_(pipe.written[1 - side]), out_(pipe.written[side]) {}

    void Read(void* destination, std::uint64_t size) override {
        std::unique_lock<std::mutex> lock(pipe_.mutex);
        pipe_.changed.wait(lock, [&] { return in_.size() >= size || pipe_.closed; });
        if (in_.size() < size) throw std::runtime_error("pipe is closed");
        const auto end = in_.begin() + static_cast<std::ptrdiff_t>(size);
        std::copy(in_.begin(), end, static_cast<unsigned char*>(destination));
        in_.erase(in_.begin(), end);
    }

    void Write(const void* source, std::uint64_t size) override {
        const auto* from = static_cast<const unsigned char*>(source);
        const std::lock_guard<std::mutex> lock(pipe_.mutex);
        if (pipe_.closed) throw std::runtime_error("pipe is closed");
        out_.insert(out_.end(), from, from + size);
        pipe_.changed.notify_all();
    }

    // True when a byte can be read within this time; throws like Read when none can come any more.
    bool WaitForDataToRead(int milliseconds) {
        std::unique_lock<std::mutex> lock(pipe_.mutex);
        pipe_.changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                               [&] { return !in_.empty() || pipe_.closed; });
        if (in_.empty() && pipe_.closed) throw std::runtime_error("pipe is closed");
        return !in_.empty();
    }

    // The other end reads what was written and then sees the end.
    void Close() {
        const std::lock_guard<std::mutex> lock(pipe_.mutex);
        pipe_.closed = true;
        pipe_.changed.notify_all();
    }

private:
    shared& pipe_;
    std::deque<unsigned char>& in_;
    std::deque<unsigned char>& out_;
};

struct duplex_pipe {
    duplex_end::shared between;
    const std::unique_ptr<duplex_end> server = std::make_unique<duplex_end>(between, 0);
    const std::unique_ptr<duplex_end> client = std::make_unique<duplex_end>(between, 1);
};

}  // namespace qv::testing
