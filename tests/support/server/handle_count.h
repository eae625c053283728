// How many handles a process holds. Windows only.
#pragma once

#include <cstddef>

namespace qv::test {

// From the system's list of all handles: Wine 8 says of every process that it has none. Throws std::runtime_error where
// the system gives no list.
// Handles of the kind of `unlike`, where the caller names one of its own, do not count.
std::size_t count_handles(unsigned long process_id, void* unlike = nullptr);

}  // namespace qv::test
