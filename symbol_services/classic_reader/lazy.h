// A value that is made when it is first asked for, once for all threads.
#pragma once

#include <atomic>
#include <memory>

#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {

// What the content of the file makes fail fails once: asking again throws the same without trying. After any other
// failure (no memory, a disk that does not answer) the next one who asks tries again.
template <class T>
class lazy {
public:
    template <class Make>
    const T& get(Make&& make) const {
        for (;;) {
            int seen = state_.load(std::memory_order_acquire);
            if (seen == made) return *value_;
            if (seen == failed) throw hresult_exception(*failure_);
            if (seen == making)
                state_.wait(making, std::memory_order_acquire);
            else if (state_.compare_exchange_strong(seen, making, std::memory_order_acquire))
                return make_now(make);
        }
    }

private:
    enum state : int { empty, making, made, failed };

    // Leaves `making`, however the making ends.
    class outcome {
    public:
        explicit outcome(std::atomic<int>& target) noexcept : target_(target) {}
        outcome(const outcome&) = delete;
        outcome& operator=(const outcome&) = delete;
        ~outcome() {
            target_.store(result, std::memory_order_release);
            target_.notify_all();
        }
        state result = empty;

    private:
        std::atomic<int>& target_;
    };

    template <class Make>
    const T& make_now(Make& make) const {
        outcome end(state_);
        try {
            value_.reset(new T(make()));
        } catch (const hresult_exception& error) {
            if (!lies_in_content(error)) throw;
            failure_ = std::make_unique<const hresult_exception>(error);
            end.result = failed;
            throw;
        }
        end.result = made;
        return *value_;
    }

    mutable std::atomic<int> state_{empty};
    mutable std::unique_ptr<const T> value_;
    mutable std::unique_ptr<const hresult_exception> failure_;
};

}  // namespace qv::classic_reader
