// One-word spin lock for critical sections of a few instructions, shared by the log and the two-index maps.
#pragma once

#include <atomic>
#include <cstdint>

#include "quorvex/common/os/thread.h"

namespace qv {

// Meets the standard Lockable requirements, so std::lock_guard and std::unique_lock hold it. Not recursive.
class spin_lock {
public:
    spin_lock() = default;
    spin_lock(const spin_lock&) = delete;
    spin_lock& operator=(const spin_lock&) = delete;

    void lock() noexcept {
        for (std::uint32_t attempt = 0; !try_lock(); ++attempt) back_off(attempt);
    }

    bool try_lock() noexcept { return (word_.fetch_or(1, std::memory_order_acquire) & 1) == 0; }

    void unlock() noexcept { word_.store(0, std::memory_order_release); }

private:
    // Short waits stay on the processor; a holder that was descheduled gets it back.
    static void back_off(std::uint32_t attempt) noexcept {
        if (attempt < 4) return;
        if (attempt < 16) return quorvex::common::os::processor_pause();
        quorvex::common::os::sleep_milliseconds(attempt < 32 ? 0 : 1);
    }

    std::atomic<std::uint32_t> word_{0};
};

}  // namespace qv
