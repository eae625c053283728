#include "pdb_client/library/pipe_connection.h"

#include <algorithm>
#include <cstring>

#include "base/exception.h"
#include "pdb_client/library/pipe_name.h"

namespace qv::profiler::pdb_client {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t buffer_size = 0x4000;
constexpr std::uint64_t max_transfer = 0x100000;
constexpr DWORD poll_interval = 20;  // milliseconds between two looks for a pipe that is not there yet

// Milliseconds until the deadline, rounded up; 0 when it has passed. Never the value that means "for ever".
DWORD remaining(steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
    return static_cast<DWORD>(std::clamp<long long>(left, 0, MAXDWORD - 1));
}

[[noreturn]] void throw_not_connected(DWORD code, source_location here = source_location::current()) {
    throw_win32_error("Can't connect to the server", code, here);
}

// The server must not act in the client's name: it may identify the client, no more.
HANDLE open_pipe(const std::wstring& name) {
    return ::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                         FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
}

handle_hld connect(const std::wstring& name, milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    for (;;) {
        handle_hld pipe(valid_handle_or_null(open_pipe(name)));
        if (pipe) return pipe;
        const DWORD code = ::GetLastError();
        if (code != ERROR_PIPE_BUSY && code != ERROR_FILE_NOT_FOUND) throw_not_connected(code);
        const DWORD left = remaining(deadline);
        if (left == 0) throw_not_connected(code);
        if (code == ERROR_PIPE_BUSY)
            ::WaitNamedPipeW(name.c_str(), left);  // whatever it says, the next attempt tells
        else
            ::Sleep(std::min(left, poll_interval));
    }
}

}  // namespace

pipe_connection::pipe_connection(const std::wstring& pipe_id, const time_limits& limits)
    : answer_limit_(limits.answer), buffer_(buffer_size) {
    if (!is_pipe_id(pipe_id)) throw_error("Invalid pipe identifier");
    done_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!done_) throw_not_connected(::GetLastError());
    pipe_ = connect(pipe_name(pipe_id), limits.connect);
    deadline_ = clock::now() + answer_limit_;
}

// One overlapped operation, ended here in every case: the system must not touch the buffer after the return.
std::uint32_t pipe_connection::transfer(bool write, void* bytes, std::uint64_t size) {
    const auto part = static_cast<DWORD>(std::min(size, max_transfer));
    OVERLAPPED operation{};
    operation.hEvent = done_.get();
    DWORD moved = 0;
    BOOL ok = write ? ::WriteFile(pipe_.get(), bytes, part, nullptr, &operation)
                    : ::ReadFile(pipe_.get(), bytes, part, nullptr, &operation);
    DWORD code = ok ? ERROR_SUCCESS : ::GetLastError();
    if (ok || code == ERROR_IO_PENDING) {
        const bool late = !ok && ::WaitForSingleObject(done_.get(), remaining(deadline_)) != WAIT_OBJECT_0;
        if (late) ::CancelIoEx(pipe_.get(), &operation);
        ok = ::GetOverlappedResult(pipe_.get(), &operation, &moved, TRUE);
        code = ok ? ERROR_SUCCESS : late ? ERROR_TIMEOUT : ::GetLastError();
    }
    if (ok && moved != 0) return moved;
    throw_win32_error(write ? "Can't write to the server" : "Can't read from the server", ok ? ERROR_NO_DATA : code);
}

void pipe_connection::Write(const void* data, std::uint64_t size) {
    deadline_ = clock::now() + answer_limit_;
    auto* position = static_cast<unsigned char*>(const_cast<void*>(data));  // WriteFile only reads it
    while (size != 0) {
        const std::uint32_t moved = transfer(true, position, size);
        position += moved;
        size -= moved;
    }
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
