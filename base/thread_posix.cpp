#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "base/thread.h"

namespace quorvex::common::os {

std::uint32_t current_thread_id() noexcept {
    return static_cast<std::uint32_t>(syscall(SYS_gettid));
}

std::uint32_t current_process_id() noexcept {
    return static_cast<std::uint32_t>(::getpid());
}

void sleep_milliseconds(std::uint32_t milliseconds) noexcept {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void processor_pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace quorvex::common::os
