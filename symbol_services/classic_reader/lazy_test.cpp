#include "symbol_services/classic_reader/lazy.h"

#include <gtest/gtest.h>

#include <new>
#include <thread>
#include <vector>

#include "symbol_services/classic_reader/failure_test_support.h"

namespace qv::classic_reader {
namespace {

TEST(Lazy, OnlyWhatTheContentMakesFailIsNotTriedAgain) {
    const auto fail_with = [](std::int32_t code) -> int { throw_hresult_error("failed", code, "f", "s", 1); };
    const lazy<int> value, broken;
    EXPECT_THROW(value.get([]() -> int { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_EQ(failure_of([&] { value.get([&] { return fail_with(e_pdb_file_system); }); }), "failed, 806d0004");
    EXPECT_EQ(value.get([] { return 7; }), 7);
    EXPECT_EQ(value.get([] { return 8; }), 7);
    EXPECT_EQ(failure_of([&] { broken.get([&] { return fail_with(e_pdb_corrupt); }); }), "failed, 806d000e");
    EXPECT_EQ(failure_of([&] { broken.get([] { return 7; }); }), "failed, 806d000e");
}

// Those who wait for the one that fails are woken, and one of them makes the value.
TEST(Lazy, ThreadsThatWaitTakeOver) {
    const lazy<int> value;
    std::atomic<int> tries = 0, answers = 0;
    const auto make = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return ++tries < 3 ? throw std::bad_alloc() : 7;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            try {
                answers += value.get(make) == 7;
            } catch (const std::bad_alloc&) {
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(tries, 3);
    EXPECT_EQ(answers, 6);
}

}  // namespace
}  // namespace qv::classic_reader
