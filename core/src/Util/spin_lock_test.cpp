#include "core/src/Util/spin_lock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

// The holder sleeps now and then, so that waiters reach their own sleeps.
TEST(SpinLock, ExcludesThreadsFromEachOther) {
    qv::spin_lock lock;
    int plain = 0;  // a race on it is a lost update, and a finding of the thread sanitizer
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                const std::lock_guard<qv::spin_lock> guard(lock);
                if (++plain % 5000 == 0) quorvex::common::os::sleep_milliseconds(5);
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(plain, 80000);
}

}  // namespace
