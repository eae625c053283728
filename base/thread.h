// The few services around threads that the portable code needs from the operating system, and the lock made of them.
#pragma once

#include <atomic>
#include <cstdint>

namespace quorvex::common::os {

// Identifiers of the calling thread and of its process, as the operating system's own tools show them.
std::uint32_t current_thread_id() noexcept;
std::uint32_t current_process_id() noexcept;

// Gives up the processor for at least this many milliseconds; 0 only yields to another ready thread.
void sleep_milliseconds(std::uint32_t milliseconds) noexcept;

// Tells the processor that this is a spin loop.
void processor_pause() noexcept;

}  // namespace quorvex::common::os

namespace qv {

// One-word lock for critical sections of a few instructions. Meets the standard Lockable requirements, so
// std::lock_guard and std::unique_lock hold it. Not recursive.
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
