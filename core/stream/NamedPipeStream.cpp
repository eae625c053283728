#include "core/stream/NamedPipeStream.h"

#include <algorithm>
#include <optional>

#include "base/exception.h"
#include "core/stream/synchronous_io_canceller.h"

namespace qv {
namespace {

constexpr const char* source_name = "core/src/Stream/NamedPipeStream";
constexpr throw_site create_site{
    "void __cdecl NamedPipeStream::Create(const class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class "
    "std::allocator<wchar_t> > &,const enum file_access,const bool,const unsigned int,const unsigned int,const "
    "unsigned "
    "int,const unsigned int,struct _SECURITY_ATTRIBUTES *)",
    source_name};
constexpr throw_site connect_site{"bool __cdecl NamedPipeStream::Connect(const unsigned int)", source_name};
constexpr throw_site wait_site{"bool __cdecl NamedPipeStream::WaitForDataToRead(const unsigned int)", source_name};

constexpr const char* pipe_closed = "Pipe is closed";
constexpr const char* pipe_has_been_closed = "Pipe has been closed";
constexpr const char* create_failed = "Can't create pipe";
constexpr const char* name_taken = "Pipe name is taken by another process";
constexpr const char* check_failed = "Failed to check data for reading";
constexpr const char* connect_failed = "Can't connect named pipe";
constexpr const char* wait_failed = "Failed to wait operation to be completed";

constexpr std::uint64_t largest_transfer = 16384;
constexpr DWORD connect_step_ms = 100;
constexpr DWORD cancel_again_ms = 10;

handle_hld create_manual_event() {
    handle_hld event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event) throw_win32_error(create_failed, GetLastError(), create_site);
    return event;
}

// Makes the instance known to be the only one of its name, or closes it. The flag does that where the system knows it;
// Wine 8 does not, so the instances are counted as well. A stranger who has joined since then is refused likewise.
DWORD keep_if_alone(handle_hld& pipe) {
    DWORD instances = 0;
    DWORD error = ERROR_SUCCESS;
    if (!GetNamedPipeHandleStateW(pipe.get(), nullptr, &instances, nullptr, nullptr, nullptr, 0))
        error = GetLastError();
    else if (instances > 1)
        error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS) pipe.reset();
    return error;
}

// Takes back the operation of the event, if it is not over. A refusal is not the last word: without a cancellation the
// operation may last as long as the peer pleases, and whoever waits for its end with it.
void cancel(HANDLE pipe, HANDLE event) {
    while (!CancelIo(pipe) && WaitForSingleObject(event, cancel_again_ms) == WAIT_TIMEOUT) {
    }
}

HANDLE open_client_end(const std::wstring& path, file_access access, SECURITY_ATTRIBUTES* security) {
    const auto bits = static_cast<std::uint32_t>(access);
    const DWORD rights = ((bits & 1) != 0 ? GENERIC_READ : 0) | ((bits & 2) != 0 ? GENERIC_WRITE : 0);
    // The server learns who calls but cannot act in the caller's name.
    constexpr DWORD flags = FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
    return CreateFileW(path.c_str(), rights, 0, security, OPEN_EXISTING, flags, nullptr);
}

}  // namespace

// What tells reading from writing.
struct NamedPipeStream::direction {
    BOOL (*start)(HANDLE pipe, void* bytes, DWORD count, OVERLAPPED* operation);
    throw_site site;
    const char* event_closed;
    const char* failed;
    const char* nothing_transferred;
};

void NamedPipeStream::Create(const std::wstring& name, file_access access, bool server_end,
                             std::uint32_t maximum_instances, std::uint32_t output_buffer, std::uint32_t input_buffer,
                             std::uint32_t time_out, SECURITY_ATTRIBUTES* security, client_range range,
                             pipe_instance instance) {
    if (pipe_) throw_error("Can't open pipe twice", create_site);
    const std::wstring path = L"\\\\.\\pipe\\" + name;
    connect_event_ = create_manual_event();
    read_event_ = create_manual_event();
    write_event_ = create_manual_event();
    const DWORD mode = range == client_range::everywhere ? PIPE_TYPE_BYTE : PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS;
    const bool is_first = server_end && instance == pipe_instance::first;
    const DWORD open_mode =
        static_cast<DWORD>(access) | FILE_FLAG_OVERLAPPED | (is_first ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0);
    pipe_.reset(valid_handle_or_null(server_end ? CreateNamedPipeW(path.c_str(), open_mode, mode, maximum_instances,
                                                                   output_buffer, input_buffer, time_out, security)
                                                : open_client_end(path, access, security)));
    DWORD error = pipe_ ? ERROR_SUCCESS : GetLastError();
    if (pipe_ && is_first) error = keep_if_alone(pipe_);
    if (error != ERROR_SUCCESS)
        throw_win32_error(is_first && error == ERROR_ACCESS_DENIED ? name_taken : create_failed, error, create_site);
    server_end_ = server_end;
}

void NamedPipeStream::RequireServerEnd(const throw_location& where) const {
    if (!pipe_) throw_error(pipe_closed, where);
    if (!server_end_) throw_error("Server side call", where);
}

bool NamedPipeStream::Connect(std::uint32_t timeout) {
    RequireServerEnd(connect_site);
    const DWORD start = GetTickCount();
    do {
        if (ConnectStep()) {
            grace_.renew();
            return true;
        }
    } while (GetTickCount() - start < timeout);
    return false;
}

bool NamedPipeStream::ConnectStep() {
    ResetEvent(connect_event_.get());
    OVERLAPPED operation{};
    operation.hEvent = connect_event_.get();
    if (ConnectNamedPipe(pipe_.get(), &operation)) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_PIPE_CONNECTED) return true;
    if (error != ERROR_IO_PENDING) throw_win32_error(connect_failed, error, connect_site);

    if (WaitForSingleObject(connect_event_.get(), connect_step_ms) == WAIT_OBJECT_0) return true;
    cancel(pipe_.get(), connect_event_.get());
    DWORD transferred = 0;
    // A client may have come before the cancellation.
    if (GetOverlappedResult(pipe_.get(), &operation, &transferred, TRUE)) return true;
    const DWORD outcome = GetLastError();
    if (outcome != ERROR_OPERATION_ABORTED) throw_win32_error(wait_failed, outcome, connect_site);
    return false;
}

bool NamedPipeStream::WaitForDataToRead(std::uint32_t timeout) {
    if (!pipe_) throw_error(pipe_has_been_closed, wait_site);
    if (timeout == 0) return HasData() || begin_ != end_;
    if (begin_ == end_) ReadAhead(timeout);
    return begin_ != end_;
}

// Leaves only when the read is over: bytes that come while it is being cancelled are not lost. A peer that writes no
// bytes at all ends it too, and has said nothing.
void NamedPipeStream::ReadAhead(std::uint32_t timeout) {
    begin_ = end_ = 0;
    OVERLAPPED operation{};
    operation.hEvent = read_event_.get();  // reset by ReadFile
    if (!ReadFile(pipe_.get(), ahead_.data(), static_cast<DWORD>(ahead_.size()), nullptr, &operation)) {
        const DWORD error = GetLastError();
        if (error != ERROR_IO_PENDING) throw_win32_error(check_failed, error, wait_site);
        if (!grace_.wait_before_stop(read_event_.get(), timeout)) cancel(pipe_.get(), read_event_.get());
    }
    DWORD transferred = 0;
    if (GetOverlappedResult(pipe_.get(), &operation, &transferred, TRUE)) {
        end_ = transferred;
        return;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_OPERATION_ABORTED) throw_win32_error(check_failed, error, wait_site);
}

bool NamedPipeStream::HasData() const {
    DWORD available = 0;
    if (!PeekNamedPipe(pipe_.get(), nullptr, 0, nullptr, &available, nullptr))
        throw_win32_error(check_failed, GetLastError(), wait_site);
    return available != 0;
}

const NamedPipeStream::direction NamedPipeStream::reading{
    [](HANDLE pipe, void* bytes, DWORD size, OVERLAPPED* operation) -> BOOL {
        return ReadFile(pipe, bytes, size, nullptr, operation);
    },
    {"void __cdecl NamedPipeStream::Read(void *,const unsigned __int64)", source_name},
    "Read pipe event has been closed",
    "Can't read data",
    "No data to read",
};

const NamedPipeStream::direction NamedPipeStream::writing{
    [](HANDLE pipe, void* bytes, DWORD size, OVERLAPPED* operation) -> BOOL {
        return WriteFile(pipe, bytes, size, nullptr, operation);
    },
    {"void __cdecl NamedPipeStream::Write(const void *,const unsigned __int64)", source_name},
    "Write pipe event has been closed",
    "Can't write data",
    "Zero length data has been written",
};

void NamedPipeStream::Read(void* destination, std::uint64_t count) {
    auto* const first = static_cast<unsigned char*>(destination);
    const auto ahead = static_cast<std::size_t>(std::min<std::uint64_t>(count, end_ - begin_));
    std::copy_n(ahead_.data() + begin_, ahead, first);
    begin_ += ahead;
    Transfer(reading, read_event_.get(), first + ahead, count - ahead);
}

void NamedPipeStream::Write(const void* source, std::uint64_t count) {
    // Writing only reads the bytes.
    Transfer(writing, write_event_.get(), const_cast<void*>(source), count);
}

void NamedPipeStream::Transfer(const direction& way, HANDLE event, void* bytes, std::uint64_t count) {
    if (!pipe_) throw_error(pipe_has_been_closed, way.site);
    if (event == nullptr) throw_error(way.event_closed, way.site);
    auto* const first = static_cast<unsigned char*>(bytes);
    stop_grace::transfer transfer(grace_);
    std::uint64_t done = 0;
    while (done < count) {
        const auto part = static_cast<std::uint32_t>(std::min(count - done, largest_transfer));
        const std::uint32_t transferred = TransferOnce(way, event, first + done, part, transfer);
        if (transferred == 0) throw_error(way.nothing_transferred, way.site);
        done += transferred;
        // A peer that is never short of data must not hold up a stop either.
        if (done < count && transfer.is_over()) throw_win32_error(wait_failed, ERROR_OPERATION_ABORTED, way.site);
    }
}

// Leaves only when the operation is over: the system writes to `operation` and `bytes` until then.
std::uint32_t NamedPipeStream::TransferOnce(const direction& way, HANDLE event, void* bytes, std::uint32_t count,
                                            stop_grace::transfer& transfer) {
    ResetEvent(event);
    OVERLAPPED operation{};
    operation.hEvent = event;
    if (!way.start(pipe_.get(), bytes, count, &operation)) {
        const DWORD error = GetLastError();
        if (error != ERROR_IO_PENDING) throw_win32_error(way.failed, error, way.site);
        if (!transfer.wait(event)) cancel(pipe_.get(), event);
    }
    DWORD transferred = 0;
    if (!GetOverlappedResult(pipe_.get(), &operation, &transferred, TRUE))
        throw_win32_error(wait_failed, GetLastError(), way.site);
    return transferred;
}

void NamedPipeStream::Flush() {
    static constexpr throw_site here{"void __cdecl NamedPipeStream::Flush(void)", source_name};
    if (!pipe_) throw_error(pipe_closed, here);
    if (grace_.next_wait() == 0) return;
    DWORD error = ERROR_SUCCESS;
    {
        std::optional<synchronous_io_canceller> canceller;
        if (grace_.stop_event() != nullptr) canceller.emplace(grace_.stop_event(), grace_.next_wait());
        if (!FlushFileBuffers(pipe_.get())) error = GetLastError();
    }
    if (error != ERROR_SUCCESS) throw_win32_error("Can't flush named pipe", error, here);
}

void NamedPipeStream::Disconnect() {
    static constexpr throw_site here{"void __cdecl NamedPipeStream::Disconnect(void)", source_name};
    RequireServerEnd(here);
    begin_ = end_ = 0;
    if (!DisconnectNamedPipe(pipe_.get())) throw_win32_error(connect_failed, GetLastError(), here);
}

void NamedPipeStream::Close() noexcept {
    begin_ = end_ = 0;
    pipe_.reset();
    connect_event_.reset();
    read_event_.reset();
    write_event_.reset();
}

}  // namespace qv
