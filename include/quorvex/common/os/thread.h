// The few services around threads and processes that the portable code needs from the operating system.
#pragma once

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
