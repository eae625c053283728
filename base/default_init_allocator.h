// Containers of numbers that need not set what they grow by, because their user is about to.
#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace qv {

// The standard allocator, except that an element made without a value is left as default initialization leaves it: a
// number has whatever its memory holds.
template <class T>
struct default_init_allocator : std::allocator<T> {
    default_init_allocator() = default;
    template <class U>
    default_init_allocator(const default_init_allocator<U>&) noexcept {}  // NOLINT: allocators convert

    template <class U>
    struct rebind {
        using other = default_init_allocator<U>;
    };

    template <class U>
    void construct(U* place) noexcept(std::is_nothrow_default_constructible_v<U>) {
        ::new (static_cast<void*>(place)) U;
    }
    template <class U, class... Arguments>
    void construct(U* place, Arguments&&... arguments) {
        std::construct_at(place, std::forward<Arguments>(arguments)...);
    }
};

}  // namespace qv
