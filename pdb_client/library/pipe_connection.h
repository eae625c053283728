// The client end of the server's named pipe, as a stream. Windows only.
//
// Answers are read ahead into a buffer and a Write is one call for one packet, so that a command costs few pipe calls.
// One thread at a time.
//
// A listener of the server that is no longer needed may take a client in its last moment and leave it without a word.
// So a connection that ends before the first byte of an answer is made once more, and gets again what was written.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "base/holders.h"
#include "core/stream/CoreStreams.h"

namespace qv::profiler::pdb_client {

struct time_limits {
    std::chrono::milliseconds connect;  // until a free instance of the pipe has been found
    std::chrono::milliseconds answer;   // from the beginning of a Write to the last byte of what is read after it
};

class pipe_connection final : public ICoreStream {
public:
    // Connects to the server with this pipe identifier. A pipe that is not there yet, or whose instances are all busy,
    // is tried again until the time is over. The server may learn who the client is but cannot act in its name.
    // Throws qv::exception for what is no pipe identifier, and win32_error_exception where it cannot connect.
    pipe_connection(const std::wstring& pipe_id, const time_limits& limits);

    // Both move exactly `size` bytes or throw win32_error_exception, with ERROR_TIMEOUT when the time for the answer is
    // over.
    void Read(void* destination, std::uint64_t size) override;
    void Write(const void* source, std::uint64_t size) override;

private:
    using clock = std::chrono::steady_clock;

    enum class direction { read, write };

    struct transferred {
        std::uint32_t code;
        std::uint32_t bytes;
    };

    transferred transfer(direction way, void* bytes, std::uint64_t size);
    std::uint32_t read_some(void* destination, std::uint64_t size);
    void write_all(const unsigned char* bytes, std::uint64_t size);
    void keep(const unsigned char* bytes, std::uint64_t size);
    bool begin_again(std::uint32_t code);

    std::wstring name_;
    handle_hld done_;  // signalled when the transfer under way has ended
    handle_hld pipe_;
    bool may_begin_again_ = true;            // once, until an answer has begun
    std::vector<unsigned char> unanswered_;  // written as long as that is so
    std::chrono::milliseconds answer_limit_;
    clock::time_point deadline_;
    std::vector<unsigned char> buffer_;  // read ahead; [begin_, end_) is still to be handed out
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

}  // namespace qv::profiler::pdb_client
