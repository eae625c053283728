// Keeps a thread from being stuck in a system call that has no overlapped form. Windows only.
#pragma once

#include <cstdint>
#include <memory>

#include "base/holders.h"

namespace qv {

// While it lives, a signalled event cancels, after a delay, the synchronous I/O of the thread that made it: the call
// fails with ERROR_OPERATION_ABORTED. Only the call to be guarded belongs into its lifetime.
class synchronous_io_canceller {
public:
    // Neither owns the event nor keeps it signalled. Throws "Can't watch stop event".
    synchronous_io_canceller(HANDLE stop_event, DWORD delay_milliseconds);
    ~synchronous_io_canceller();
    synchronous_io_canceller(const synchronous_io_canceller&) = delete;
    synchronous_io_canceller& operator=(const synchronous_io_canceller&) = delete;

private:
    struct guarded_call;
    class registry;

    static void CALLBACK cancel(void* number, BOOLEAN timed_out);

    const std::shared_ptr<const guarded_call> call_;
    const std::uintptr_t number_;
    HANDLE wait_ = nullptr;
};

}  // namespace qv
