// Two connected in-memory ends for conversations within one process.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "core/src/stream/CoreStreams.h"

namespace qv::testing {

// One end of a duplex pipe. What one end writes the other reads; Read blocks until all bytes have come and throws
// std::runtime_error("pipe is closed") when the other end closed first. Each end is used by one thread.
class duplex_end : public ICoreStream {
public:
    struct channel {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<unsigned char> bytes;
        bool closed = false;
    };

    duplex_end(std::shared_ptr<channel> in, std::shared_ptr<channel> out) noexcept
        : in_(std::move(in)), out_(std::move(out)) {}
    ~duplex_end() override { Close(); }
    duplex_end(const duplex_end&) = delete;
    duplex_end& operator=(const duplex_end&) = delete;

    void Read(void* destination, std::uint64_t size) override;
    void Write(const void* source, std::uint64_t size) override;

    // True when a byte can be read within this time; throws like Read when the other end has closed.
    bool WaitForDataToRead(int milliseconds);

    // The other end reads what was written and then sees the end.
    void Close();

private:
    std::shared_ptr<channel> in_;
    std::shared_ptr<channel> out_;
};

struct duplex_pipe {
    duplex_pipe();
    std::unique_ptr<duplex_end> server;
    std::unique_ptr<duplex_end> client;
};

}  // namespace qv::testing
