// Watches the memory that a test program asks for, and has an allocation fail. A program that uses either gets its
// memory through functions that know of it.
#pragma once

#include <cstddef>

namespace qv::test {

// The most bytes that this thread has asked for in one piece since it last set this to 0.
extern thread_local std::size_t largest_allocation;

// How many allocations from now, beginning with 1, the one of this thread is that fails; 0: none does.
extern thread_local std::size_t failing_allocation;

}  // namespace qv::test
