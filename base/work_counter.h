// How much the readers of files have done, in steps: one for each byte copied, item read, looked at or compared.
//
// Tests ask it whether a reader's cost stays in proportion to its input; unlike a clock it says the same on every
// machine. Only builds with QV_COUNT_WORK count (see the build); in all others the calls are empty.
#pragma once

#include <cstdint>

namespace qv {

#ifdef QV_COUNT_WORK

constexpr bool work_is_counted = true;

// Of the calling thread.
inline thread_local std::uint64_t work_done = 0;

inline void count_work(std::uint64_t steps) noexcept {
    work_done += steps;
}

#else

constexpr bool work_is_counted = false;
constexpr std::uint64_t work_done = 0;

inline void count_work(std::uint64_t) noexcept {}

#endif

}  // namespace qv
