#include "core/src/stream/synchronous_io_canceller.h"

#include "qv/diagnostics/exception.h"

namespace qv {
namespace {

constexpr DWORD retry_ms = 10;

}  // namespace

synchronous_io_canceller::synchronous_io_canceller(HANDLE stop_event)
    : thread_(OpenThread(THREAD_TERMINATE, FALSE, GetCurrentThreadId())),
      done_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!thread_ || !done_ ||
        !RegisterWaitForSingleObject(&wait_, stop_event, &cancel, this, INFINITE,
                                     WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION))
        throw_win32_error("Can't watch stop event", GetLastError(),
                          "__cdecl synchronous_io_canceller::synchronous_io_canceller(void *)",
                          "core/src/stream/synchronous_io_canceller", __LINE__);
}

synchronous_io_canceller::~synchronous_io_canceller() {
    SetEvent(done_.get());
    // Returns when a callback under way has returned too.
    UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
}

// The event may be signalled before the thread has entered its call, when there is nothing to cancel yet; so this goes
// on until the call is over.
void synchronous_io_canceller::cancel(void* self, BOOLEAN) {
    const auto& guard = *static_cast<const synchronous_io_canceller*>(self);
    do {
        CancelSynchronousIo(guard.thread_.get());
    } while (WaitForSingleObject(guard.done_.get(), retry_ms) == WAIT_TIMEOUT);
}

}  // namespace qv
