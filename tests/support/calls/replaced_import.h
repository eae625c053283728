// Calls of the operating system that go elsewhere while an object lives: by the import table of the test program, so
// that what is tested needs no seam of its own. Windows only.
#pragma once

#include <windows.h>

#include <atomic>

namespace qv::test {

// Lets the program's calls of an imported function go to `replacement`, which has the same signature. Throws
// std::runtime_error for a function that the program does not import.
class replaced_import {
public:
    replaced_import(const char* function, void* replacement);
    ~replaced_import();
    replaced_import(const replaced_import&) = delete;
    replaced_import& operator=(const replaced_import&) = delete;

    void* original() const noexcept { return original_; }

private:
    void** slot_;
    void* original_;
};

template <class Signature>
class failing_call;

// Lets one call of an imported function fail: the `turn`th from now on, which returns `result` and leaves `error` as
// the last error. The calls before and after it are real. One object of a signature at a time.
template <class Result, class... Arguments>
class failing_call<Result(Arguments...)> {
public:
    explicit failing_call(const char* function, int turn = 1, Result result = {}, DWORD error = ERROR_NOT_ENOUGH_MEMORY)
        : import_(function, reinterpret_cast<void*>(&call)) {
        state() = {import_.original(), result, error};
        left_ = turn;
    }
    ~failing_call() { left_ = 0; }

private:
    struct failure {
        void* original;
        Result result;
        DWORD error;
    };

    static failure& state() {
        static failure the_one;
        return the_one;
    }

    static Result WINAPI call(Arguments... arguments) {
        const failure& how = state();
        if (left_ > 0 && --left_ == 0) {
            SetLastError(how.error);
            return how.result;
        }
        return reinterpret_cast<Result(WINAPI*)(Arguments...)>(how.original)(arguments...);
    }

    static inline std::atomic<int> left_{0};
    replaced_import import_;
};

}  // namespace qv::test
