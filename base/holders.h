// Owners of what the operating system gives: handles, allocations, libraries.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

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

#ifdef _WIN32

struct deleter_LocalFree {
    void operator()(void* block) const noexcept { LocalFree(block); }
};

struct deleter_CloseHandle {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

struct deleter_FreeLibrary {
    void operator()(HMODULE library) const noexcept { FreeLibrary(library); }
};

struct deleter_FreeSid {
    void operator()(PSID sid) const noexcept { FreeSid(sid); }
};

// Kernel objects: events, threads, files, pipe instances.
using handle_hld = unique_hld<HANDLE, deleter_CloseHandle>;
using library_hld = unique_hld<HMODULE, deleter_FreeLibrary>;

// Files and pipes report failure by INVALID_HANDLE_VALUE; a holder knows only null.
inline HANDLE valid_handle_or_null(HANDLE handle) noexcept {
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

#endif

}  // namespace qv
