// One end of one named-pipe instance, as a duplex core stream. Windows only.
//
// All waiting is done by overlapped I/O, that for data by the read that takes it. One thread uses one stream; a read
// and a write may be outstanding together, as each has its own event. Failures are qv::exception and
// qv::win32_error_exception. A peer that has gone shows as a failed or empty transfer; every operation on a closed
// stream fails.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "base/exception.h"
#include "base/holders.h"
#include "core/stream/CoreStreams.h"
#include "core/stream/stop_grace.h"

namespace qv {

// The directions in which this end moves data; the values are those of the pipe's open mode.
enum class file_access : std::uint32_t { read = 1, write = 2, read_write = 3 };

// From where clients may open a server end.
enum class client_range { everywhere, this_machine };

// What a server end asks of the pipe's name: to be new fails where anybody has an instance of it.
enum class pipe_instance { any, first };

class NamedPipeStream : public ICoreStream {
public:
    // What Create is given for a pipe of the server.
    static constexpr std::uint32_t unlimited_instances = 255;
    static constexpr std::uint32_t buffer_size = 256;        // bytes, for each direction
    static constexpr std::uint32_t default_time_out = 1000;  // milliseconds

    // `stop_event`: a manual-reset event that outlives the stream, or null. Once it is signalled Read, Write and Flush
    // wait for the peer only as long as stop_grace says, and after that not at all.
    explicit NamedPipeStream(HANDLE stop_event = nullptr) noexcept : grace_(stop_event) {}
    NamedPipeStream(const NamedPipeStream&) = delete;
    NamedPipeStream& operator=(const NamedPipeStream&) = delete;

    // Opens "\\.\pipe\" + `name`: a new instance as its server end, or the client end of a waiting instance, for which
    // the settings mean nothing. A stream opens one pipe, until it is closed.
    void Create(const std::wstring& name, file_access access, bool server_end, std::uint32_t maximum_instances,
                std::uint32_t output_buffer, std::uint32_t input_buffer, std::uint32_t time_out,
                SECURITY_ATTRIBUTES* security, client_range range = client_range::everywhere,
                pipe_instance instance = pipe_instance::any);

    // Waits for a client in steps of 100 ms, at least one, until `timeout` milliseconds have passed; answers whether
    // one is connected. Only the server end may call.
    bool Connect(std::uint32_t timeout);

    // Answers whether a byte can be read, waiting up to `timeout` milliseconds for one, or until the stop. What has
    // come meanwhile is taken in one read and kept for Read. With a timeout of 0 the pipe is only looked at, which
    // fails if the peer has gone.
    bool WaitForDataToRead(std::uint32_t timeout);

    // Transfer exactly `count` bytes, at most 16,384 at once. Fail with ERROR_OPERATION_ABORTED where the time after
    // the stop was over.
    void Read(void* destination, std::uint64_t count) override;
    void Write(const void* source, std::uint64_t count) override;

    // Waits until the client has read everything; fails with ERROR_OPERATION_ABORTED where the time after the stop was
    // over, and does not wait at all where it had been over before.
    void Flush();

    // Ends the client's connection: what it has not read is lost, and Connect may take the next one. Only the server
    // end may call.
    void Disconnect();

    void Close() noexcept;

private:
    struct direction;

    static const direction reading, writing;

    void Transfer(const direction& way, HANDLE event, void* bytes, std::uint64_t count);
    std::uint32_t TransferOnce(const direction& way, HANDLE event, void* bytes, std::uint32_t count,
                               stop_grace::transfer& transfer);
    bool ConnectStep();
    bool HasData() const;
    void ReadAhead(std::uint32_t timeout);
    void RequireServerEnd(const throw_location& where) const;

    stop_grace grace_;
    bool server_end_ = false;
    std::array<unsigned char, 4096> ahead_;  // what a wait has read; [begin_, end_) is still to be handed out
    std::size_t begin_ = 0, end_ = 0;
    handle_hld connect_event_;
    handle_hld read_event_;
    handle_hld write_event_;
    // The last one, so that it goes first: a client that comes after the last look for one, and before this is closed,
    // has come in vain.
    handle_hld pipe_;
};

}  // namespace qv
