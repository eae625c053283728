#include "core/stream/synchronous_io_canceller.h"

#include "base/exception.h"

namespace qv {
namespace {

constexpr DWORD retry_ms = 10;

[[noreturn]] void fail(DWORD code) {
    static constexpr throw_site here{"__cdecl synchronous_io_canceller::synchronous_io_canceller(void *,unsigned long)",
                                     "core/src/stream/synchronous_io_canceller"};
    throw_win32_error("Can't watch stop event", code, here);
}

// The code of a refusal is read before the next call of the system.
handle_hld own(HANDLE handle) {
    if (handle == nullptr) fail(GetLastError());
    return handle_hld(handle);
}

}  // namespace

synchronous_io_canceller::synchronous_io_canceller(HANDLE stop_event, DWORD delay_milliseconds)
    : delay_(delay_milliseconds),
      thread_(own(OpenThread(THREAD_TERMINATE, FALSE, GetCurrentThreadId()))),
      done_(own(CreateEventW(nullptr, TRUE, FALSE, nullptr))) {
    if (!RegisterWaitForSingleObject(&wait_, stop_event, &cancel, this, INFINITE,
                                     WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION))
        fail(GetLastError());
}

synchronous_io_canceller::~synchronous_io_canceller() {
    SetEvent(done_.get());
    // Returns when a callback under way has returned too.
    UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
}

// The time may be over before the thread has entered its call, when there is nothing to cancel yet; so this goes on
// until the call is over.
void synchronous_io_canceller::cancel(void* self, BOOLEAN) {
    const auto& guard = *static_cast<const synchronous_io_canceller*>(self);
    for (DWORD pause = guard.delay_; WaitForSingleObject(guard.done_.get(), pause) == WAIT_TIMEOUT; pause = retry_ms)
        CancelSynchronousIo(guard.thread_.get());
}

}  // namespace qv
