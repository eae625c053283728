#include <windows.h>

#include "base/thread.h"

namespace quorvex::common::os {

std::uint32_t current_thread_id() noexcept {
    return GetCurrentThreadId();
}

std::uint32_t current_process_id() noexcept {
    return GetCurrentProcessId();
}

void sleep_milliseconds(std::uint32_t milliseconds) noexcept {
    Sleep(milliseconds);
}

void processor_pause() noexcept {
    YieldProcessor();
}

}  // namespace quorvex::common::os
