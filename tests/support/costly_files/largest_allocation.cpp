#include "tests/support/costly_files/largest_allocation.h"

#include <cstdlib>
#include <new>

namespace qv::test {

thread_local std::size_t largest_allocation = 0;

}  // namespace qv::test

void* operator new(std::size_t size) {
    if (size > qv::test::largest_allocation) qv::test::largest_allocation = size;
    if (void* const memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (size > qv::test::largest_allocation) qv::test::largest_allocation = size;
    return std::malloc(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
