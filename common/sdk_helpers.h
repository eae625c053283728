// Owner of a COM interface. Windows only.
#pragma once

#include <unknwn.h>

#include <utility>

#include "common/com/interface_id.h"

namespace qv {

namespace detail {

// Throws hresult_exception (E_POINTER) for null.
void check_interface(const void* pointer);

// QueryInterface; null with the answer E_NOINTERFACE. Throws hresult_exception for a null object and every other
// failure.
void* query_nullable_interface(IUnknown* object, REFIID interface_id);

// QueryInterface. Throws hresult_exception for a null object and every failure.
void* query_interface(IUnknown* object, REFIID interface_id);

}  // namespace detail

// Owns one reference to an object, or nothing. Copies own references of their own. Using an empty holder throws
// hresult_exception (E_POINTER). Not synchronised.
template <class Interface>
class com_hld {
public:
    com_hld() = default;
    // Takes the caller's reference over.
    explicit com_hld(Interface* owned) noexcept : pointer_(owned) {}
    com_hld(const com_hld& other) noexcept : pointer_(other.pointer_) {
        if (pointer_) pointer_->AddRef();
    }
    com_hld(com_hld&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    com_hld& operator=(com_hld other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~com_hld() { reset(); }

    explicit operator bool() const noexcept { return pointer_ != nullptr; }
    Interface* get() const noexcept { return pointer_; }

    Interface* operator->() const {
        detail::check_interface(pointer_);
        return pointer_;
    }

    void reset() noexcept {
        if (Interface* const old = std::exchange(pointer_, nullptr)) old->Release();
    }

    // For output parameters: lets the held reference go first.
    Interface** put() noexcept {
        reset();
        return &pointer_;
    }
    void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

    // The caller becomes the owner.
    Interface* release() noexcept { return std::exchange(pointer_, nullptr); }

    // Another interface of the object. Throws hresult_exception where the object does not have it.
    template <class Other>
    com_hld<Other> query() const {
        return com_hld<Other>(static_cast<Other*>(detail::query_interface(pointer_, com::iid_of<Other>)));
    }

    // The same; empty where the object does not have it.
    template <class Other>
    com_hld<Other> query_nullable() const {
        return com_hld<Other>(static_cast<Other*>(detail::query_nullable_interface(pointer_, com::iid_of<Other>)));
    }

private:
    Interface* pointer_ = nullptr;
};

}  // namespace qv
