// Calls of the system that fail, in the program or in a library that it has loaded: the one of a given turn, or all
// from that one on. Windows only.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "tests/support/calls/replaced_import.h"

namespace qv::bench {

// Which of the calls fail that a failing_call stands before. One plan at a time.
class failing_calls {
public:
    enum class duration { once, for_good };

    // The `turn`th call from now on, of any thread that is not spared; 0: none.
    static void begin(int turn, duration how = duration::once) {
        failed_ = 0;
        how_ = how;
        left_ = turn;
    }

    // Counts each as it fails.
    static void count_in(LONG* count) { count_ = count; }

    // How many have failed.
    static unsigned end() {
        left_ = 0;
        return failed_;
    }

    static bool next_fails() {
        if (is_spared_) return false;
        int left = left_;
        while (left > 1 && !left_.compare_exchange_weak(left, left - 1)) {
        }
        if (left != 1) return false;
        if (how_ == duration::once && left_.exchange(0) != 1) return false;  // another thread's call has failed
        ++failed_;
        if (LONG* const count = count_) InterlockedIncrement(count);
        return true;
    }

    // Calls of this thread are the test's own while this lives.
    class spared {
    public:
        spared() { is_spared_ = true; }
        ~spared() { is_spared_ = false; }
        spared(const spared&) = delete;
        spared& operator=(const spared&) = delete;
    };

private:
    static inline thread_local bool is_spared_ = false;
    static inline std::atomic<int> left_{0};
    static inline std::atomic<unsigned> failed_{0};
    static inline std::atomic<LONG*> count_{nullptr};
    static inline std::atomic<duration> how_{duration::once};
};

// What a failing call leaves undone: nothing was begun, or what was begun is over and failed.
enum class moment { before, after };

template <class Signature>
struct signature;

template <class Result, class... Arguments>
struct signature<Result(Arguments...)> {
    using result = Result;
};

template <class Signature>
using result_of = typename signature<Signature>::result;

template <class Signature, moment When = moment::before>
class failing_call;

// One of a signature at a time, for as many libraries as have the same function.
template <moment When, class Result, class... Arguments>
class failing_call<Result(Arguments...), When> {
public:
    // While the answer lives, calls of the function that the plan wants to fail return `failure` and leave `error`.
    static std::unique_ptr<test::replaced_import> replace(const char* name, Result failure, HMODULE library = nullptr,
                                                          DWORD error = ERROR_NO_SYSTEM_RESOURCES) {
        failure_ = failure;
        error_ = error;
        auto import = std::make_unique<test::replaced_import>(name, reinterpret_cast<void*>(&instead), library);
        original_ = import->original();
        return import;
    }

private:
    static Result WINAPI instead(Arguments... arguments) {
        const auto really = [&] {
            return reinterpret_cast<Result(WINAPI*)(Arguments...)>(original_.load())(arguments...);
        };
        if (!failing_calls::next_fails()) return really();
        if (When == moment::after) really();
        SetLastError(error_);
        return failure_;
    }

    static inline std::atomic<void*> original_;
    static inline Result failure_;
    static inline DWORD error_;
};

}  // namespace qv::bench
