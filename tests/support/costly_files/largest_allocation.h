// Watches the memory that a test program asks for.
#pragma once

#include <cstddef>

namespace qv::test {

// The most bytes that this thread has asked for in one piece since it last set this to 0. A program that uses it gets
// its memory through functions that note this.
extern thread_local std::size_t largest_allocation;

}  // namespace qv::test
