// Threads that ask a server until somebody ends them, or until one is not answered as it should be.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qv::soak {

// Whoever derives from it calls `end` in his destructor: the threads use what he has.
class load {
public:
    load() = default;
    load(const load&) = delete;
    load& operator=(const load&) = delete;
    virtual ~load() = default;

    bool failed() const { return failed_; }
    std::uint64_t answers() const { return answers_; }

    void end() {
        stop_ = true;
        threads_.clear();
    }

    // What came of it; after the end.
    void print() const {
        print_counts();
        if (failed_) std::printf("FAILED: %s\n", failure_.c_str());
    }

protected:
    void start(std::function<void()> thread) { threads_.emplace_back(std::move(thread)); }

    // For the threads.
    bool stopping() const { return stop_; }
    void count_answers(std::uint64_t more) { answers_ += more; }
    void fail(const std::string& what) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!failed_) failure_ = what;
        failed_ = stop_ = true;
    }

private:
    virtual void print_counts() const = 0;

    std::atomic<bool> stop_{false}, failed_{false};
    std::atomic<std::uint64_t> answers_{0};
    std::mutex mutex_;
    std::string failure_;
    std::vector<std::jthread> threads_;
};

}  // namespace qv::soak
