#include "core/stream/synchronous_io_canceller.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "base/exception.h"

namespace qv {

// What the callback works with; alive as long as it does.
struct synchronous_io_canceller::guarded_call {
    const DWORD delay;
    const handle_hld thread;
    const handle_hld done;
    mutable std::atomic<bool> is_done = false;  // also where the event cannot be set
};

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

// The calls that are being guarded, by number. UnregisterWaitEx promises that no callback begins after it has returned,
// but Wine 8 may still begin one whose event its waiting thread had seen by then. So a callback is given a number, and
// finds nothing under it when it is late.
class synchronous_io_canceller::registry {
public:
    // Stays when the process ends: a late callback may still ask.
    static registry& instance() {
        static auto* const only = new registry;
        return *only;
    }

    std::uintptr_t add(std::shared_ptr<const guarded_call> call) {
        const std::lock_guard<std::mutex> lock(mutex_);
        calls_.emplace(++last_, std::move(call));
        return last_;
    }
    void remove(std::uintptr_t number) noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        calls_.erase(number);
    }
    std::shared_ptr<const guarded_call> find(std::uintptr_t number) noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = calls_.find(number);
        return found == calls_.end() ? nullptr : found->second;
    }

private:
    std::mutex mutex_;
    std::uintptr_t last_ = 0;
    std::map<std::uintptr_t, std::shared_ptr<const guarded_call>> calls_;
};

synchronous_io_canceller::synchronous_io_canceller(HANDLE stop_event, DWORD delay_milliseconds)
    : call_(new guarded_call{delay_milliseconds, own(OpenThread(THREAD_TERMINATE, FALSE, GetCurrentThreadId())),
                             own(CreateEventW(nullptr, TRUE, FALSE, nullptr))}),
      number_(registry::instance().add(call_)) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    if (RegisterWaitForSingleObject(&wait_, stop_event, &cancel, reinterpret_cast<void*>(number_), INFINITE,
                                    WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION))
        return;
    const DWORD code = GetLastError();
    registry::instance().remove(number_);
    fail(code);
}

synchronous_io_canceller::~synchronous_io_canceller() {
    call_->is_done = true;
    SetEvent(call_->done.get());
    // Returns when a callback under way has returned too.
    UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
    registry::instance().remove(number_);
}

// The time may be over before the thread has entered its call, when there is nothing to cancel yet; so this goes on
// until the call is over.
void synchronous_io_canceller::cancel(void* number, BOOLEAN) {
    const auto call = registry::instance().find(reinterpret_cast<std::uintptr_t>(number));
    if (!call) return;
    for (DWORD pause = call->delay; WaitForSingleObject(call->done.get(), pause) == WAIT_TIMEOUT && !call->is_done;
         pause = retry_ms)
        CancelSynchronousIo(call->thread.get());
}

}  // namespace qv
