// The move-only owner of a value that a function gives back: a handle, an allocation, a library.
#pragma once

#include <utility>

namespace qv {

// Owns one `Value`; the value-initialised one (null) means "nothing held". `Deleter` is called once with a held value
// and must not throw. Not synchronised.
template <class Value, class Deleter>
class unique_hld {
public:
    unique_hld() = default;
    explicit unique_hld(Value value) noexcept : value_(value) {}
    unique_hld(unique_hld&& other) noexcept : value_(other.release()) {}
    unique_hld& operator=(unique_hld&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~unique_hld() { reset(); }

    Value get() const noexcept { return value_; }
    explicit operator bool() const noexcept { return value_ != Value{}; }

    // Gives the held value back and takes the new one.
    void reset(Value value = Value{}) noexcept {
        if (const Value old = std::exchange(value_, value); old != Value{}) Deleter()(old);
    }

    // The caller becomes the owner.
    Value release() noexcept { return std::exchange(value_, Value{}); }

private:
    Value value_{};
};

}  // namespace qv
