#include "pdb_client/library/pipe_connection.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/exception.h"
#include "pdb_client/library/pipe_name.h"

namespace qv::profiler::pdb_client {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t buffer_size = 0x4000;
constexpr std::uint64_t max_transfer = 0x100000;
constexpr std::size_t most_kept = 0x4000;  // of what is written before the first answer, which is a packet of few bytes
constexpr DWORD poll_interval = 20;        // milliseconds between two looks for a pipe that is not there yet

// Milliseconds until the deadline, rounded up; 0 when it has passed. Never the value that means "for ever".
DWORD remaining(steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
    return static_cast<DWORD>(std::clamp<long long>(left, 0, MAXDWORD - 1));
}

// How a read or a write says that the other end is gone.
bool is_end(DWORD code) {
    return code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA || code == ERROR_PIPE_NOT_CONNECTED;
}

// The server must not act in the client's name: it may identify the client, no more.
HANDLE open_pipe(const std::wstring& name) {
    return ::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                         FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
}

enum class no_server { is_waited_for, is_final };

// Null with the last error set where no listener takes the client.
handle_hld connect(const std::wstring& name, steady_clock::time_point deadline, no_server missing) {
    for (;;) {
        handle_hld pipe(valid_handle_or_null(open_pipe(name)));
        if (pipe) return pipe;
        const DWORD code = ::GetLastError();
        const bool passes =
            code == ERROR_PIPE_BUSY || (code == ERROR_FILE_NOT_FOUND && missing == no_server::is_waited_for);
        const DWORD left = remaining(deadline);
        if (!passes || left == 0) {
            ::SetLastError(code);
            return {};
        }
        if (code == ERROR_PIPE_BUSY)
            ::WaitNamedPipeW(name.c_str(), left);  // whatever it says, the next attempt tells
        else
            ::Sleep(std::min(left, poll_interval));
    }
}

}  // namespace

pipe_connection::pipe_connection(const std::wstring& pipe_id, const time_limits& limits)
    : name_(pipe_name(pipe_id)), answer_limit_(limits.answer), buffer_(buffer_size) {
    if (!is_pipe_id(pipe_id)) throw_error("Invalid pipe identifier");
    done_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (done_) pipe_ = connect(name_, clock::now() + limits.connect, no_server::is_waited_for);
    if (!pipe_) throw_win32_error("Can't connect to the server", ::GetLastError());
    deadline_ = clock::now() + answer_limit_;
}

// One overlapped operation, ended here in every case: the system must not touch the buffer after the return.
pipe_connection::transferred pipe_connection::transfer(direction way, void* bytes, std::uint64_t size) {
    const auto part = static_cast<DWORD>(std::min(size, max_transfer));
    OVERLAPPED operation{};
    operation.hEvent = done_.get();
    DWORD moved = 0;
    BOOL ok = way == direction::write ? ::WriteFile(pipe_.get(), bytes, part, nullptr, &operation)
                                      : ::ReadFile(pipe_.get(), bytes, part, nullptr, &operation);
    DWORD code = ok ? ERROR_SUCCESS : ::GetLastError();
    if (ok || code == ERROR_IO_PENDING) {
        const bool late = !ok && ::WaitForSingleObject(done_.get(), remaining(deadline_)) != WAIT_OBJECT_0;
        if (late) ::CancelIoEx(pipe_.get(), &operation);
        ok = ::GetOverlappedResult(pipe_.get(), &operation, &moved, TRUE);
        code = ok ? ERROR_SUCCESS : late ? ERROR_TIMEOUT : ::GetLastError();
    }
    return {ok && moved == 0 ? ERROR_NO_DATA : code, moved};
}

void pipe_connection::keep(const unsigned char* bytes, std::uint64_t size) {
    may_begin_again_ = may_begin_again_ && size <= most_kept - unanswered_.size();
    if (may_begin_again_) unanswered_.insert(unanswered_.end(), bytes, bytes + size);
}

// Whether the connection is made anew after this failure, and all is written again.
bool pipe_connection::begin_again(std::uint32_t code) {
    if (!is_end(code) || !std::exchange(may_begin_again_, false)) return false;
    handle_hld pipe = connect(name_, deadline_, no_server::is_final);
    if (!pipe) return false;
    pipe_ = std::move(pipe);
    write_all(unanswered_.data(), unanswered_.size());
    return true;
}

void pipe_connection::write_all(const unsigned char* bytes, std::uint64_t size) {
    while (size != 0) {
        const auto [code, moved] = transfer(direction::write, const_cast<unsigned char*>(bytes), size);  // only read
        if (code != ERROR_SUCCESS) {
            if (begin_again(code)) return;
            throw_win32_error("Can't write to the server", code);
        }
        bytes += moved;
        size -= moved;
    }
}

void pipe_connection::Write(const void* source, std::uint64_t size) {
    deadline_ = clock::now() + answer_limit_;
    const auto* const bytes = static_cast<const unsigned char*>(source);
    keep(bytes, size);
    write_all(bytes, size);
}

std::uint32_t pipe_connection::read_some(void* destination, std::uint64_t size) {
    auto got = transfer(direction::read, destination, size);
    if (got.code != ERROR_SUCCESS && begin_again(got.code)) got = transfer(direction::read, destination, size);
    if (got.code != ERROR_SUCCESS) throw_win32_error("Can't read from the server", got.code);
    may_begin_again_ = false;
    return got.bytes;
}

void pipe_connection::Read(void* destination, std::uint64_t size) {
    auto* position = static_cast<unsigned char*>(destination);
    while (size != 0) {
        if (begin_ == end_ && size >= buffer_.size()) {
            const std::uint32_t moved = read_some(position, size);
            position += moved;
            size -= moved;
            continue;
        }
        if (begin_ == end_) {
            begin_ = 0;
            end_ = 0;
            end_ = read_some(buffer_.data(), buffer_.size());
        }
        const std::size_t part = std::min<std::size_t>(static_cast<std::size_t>(size), end_ - begin_);
        std::memcpy(position, buffer_.data() + begin_, part);
        begin_ += part;
        position += part;
        size -= part;
    }
}

}  // namespace qv::profiler::pdb_client
