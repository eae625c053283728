#include "tests/support/costly_files/allocations.h"

#include <cstdlib>
#include <new>

namespace qv::test {

thread_local std::size_t largest_allocation = 0;
thread_local std::size_t failing_allocation = 0;

namespace {

void* allocate(std::size_t size) noexcept {
    if (size > largest_allocation) largest_allocation = size;
    if (failing_allocation != 0 && --failing_allocation == 0) return nullptr;
    return std::malloc(size);
}

}  // namespace
}  // namespace qv::test

void* operator new(std::size_t size) {
    if (void* const memory = qv::test::allocate(size)) return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return qv::test::allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
