#include "core/src/Util/spin_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace {

TEST(SpinLock, ExcludesThreadsFromEachOther) {
    qv::spin_lock lock;
    int plain = 0;  // a race on it is a lost update, and a finding of the thread sanitizer
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                const std::lock_guard<qv::spin_lock> guard(lock);
                ++plain;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(plain, 80000);
}

TEST(SpinLock, WaiterGetsItAfterALongHold) {
    qv::spin_lock lock;
    std::atomic<bool> waiting{false};
    std::atomic<bool> released{false};
    lock.lock();
    EXPECT_FALSE(lock.try_lock());
    std::thread waiter([&] {
        waiting = true;
        const std::lock_guard<qv::spin_lock> guard(lock);
        EXPECT_TRUE(released);
    });
    while (!waiting) std::this_thread::yield();
    quorvex::common::os::sleep_milliseconds(5);  // long enough for the waiter to reach its sleeps
    released = true;
    lock.unlock();
    waiter.join();
}

}  // namespace
