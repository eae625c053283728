#include "symbol_services/symbol_server/lookup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "symbol_services/symbol_server/atomic_copy.h"
#include "symbol_services/symbol_server/test_store.h"

namespace qv::symbol_store {
namespace {

using test::read_file;
using test::write_file;

constexpr std::size_t any_length = 32767;

class Lookup : public testing::Test {
protected:
    lookup_result find(const std::wstring& search_string, copy_policy copying = copy_policy::into_first_tier,
                       std::size_t longest_path = any_length) const {
        const request wanted = {*file_key::make(L"app.pdb", L"KEY1"), longest_path, {}};
        return find_file(open_stores(parse_search_string(search_string, at("default"))), wanted, copying);
    }

    std::wstring at(const char* store) const { return text::to_wide(root_ / store); }
    test::fs::path file_in(const char* store) const { return root_ / store / "app.pdb" / "KEY1" / "app.pdb"; }

    test::temporary_directory root_;
};

TEST_F(Lookup, LeftmostElementAnswers) {
    write_file(file_in("b"), "b");
    write_file(file_in("c"), "c");
    test::fs::create_directories(root_ / "a");
    EXPECT_EQ(find(at("a") + L";srv*" + at("b") + L";" + at("c")).path, file_in("b"));
    write_file(file_in("default"), "default");
    EXPECT_EQ(find(L"srv*").path, file_in("default"));
}

TEST_F(Lookup, HitIsCopiedIntoTheFirstTierOnly) {
    write_file(file_in("c"), "content");
    const auto result = find(L"srv*" + at("a") + L"*" + at("b") + L"*" + at("c"));
    EXPECT_EQ(result.path, file_in("a"));
    EXPECT_EQ(read_file(result.path), "content");
    EXPECT_FALSE(test::fs::exists(root_ / "b"));
}

TEST_F(Lookup, CacheElementReceivesLaterHits) {
    write_file(file_in("store"), "content");
    EXPECT_EQ(find(L"cache*" + at("cache") + L";" + at("store")).path, file_in("cache"));
    test::fs::remove_all(root_ / "store");
    EXPECT_EQ(find(L"cache*" + at("cache") + L";" + at("store")).path, file_in("cache"));
}

TEST_F(Lookup, NoCopyAnswersTheOriginal) {
    write_file(file_in("store"), "content");
    EXPECT_EQ(find(at("cache") + L"*" + at("store"), copy_policy::never).path, file_in("store"));
    EXPECT_FALSE(test::fs::exists(root_ / "cache"));
}

TEST_F(Lookup, CacheThatCannotBeWrittenAnswersTheOriginal) {
    write_file(file_in("store"), "content");
    write_file(root_ / "cache", "a file where the directory should be");
    EXPECT_EQ(find(at("cache") + L"*" + at("store")).path, file_in("store"));
}

TEST_F(Lookup, PointedFileIsCopiedUnderItsOwnName) {
    write_file(root_ / "build" / "x.bin", "content");
    write_file(root_ / "store/app.pdb/KEY1/file.ptr", "PATH:" + (root_ / "build" / "x.bin").string());
    const auto result = find(at("cache") + L"*" + at("store"));
    EXPECT_EQ(result.path, file_in("cache"));
    EXPECT_EQ(read_file(result.path), "content");
}

TEST_F(Lookup, ReasonsForNoAnswer) {
    test::fs::create_directories(root_ / "empty");
    EXPECT_EQ(find(at("empty") + L";" + at("gone")).status, lookup_status::absent);
    EXPECT_EQ(find(at("gone")).status, lookup_status::unreachable);
    EXPECT_EQ(find(L";").status, lookup_status::unreachable);
    EXPECT_EQ(find(L"srv*https://host/symbols").status, lookup_status::unreachable);
    EXPECT_EQ(find(L"srv*\xD800").status, lookup_status::unreachable);
}

TEST_F(Lookup, RemoteTierIsPassedOver) {
    write_file(file_in("store"), "content");
    EXPECT_EQ(find(L"srv*" + at("cache") + L"*https://host/symbols*" + at("store")).path, file_in("cache"));
}

TEST_F(Lookup, PathTooLongForTheCaller) {
    write_file(file_in("store"), "content");
    const auto length = text::to_wide(file_in("store")).size();
    EXPECT_EQ(find(at("store"), copy_policy::never, length).status, lookup_status::found);
    EXPECT_EQ(find(at("store"), copy_policy::never, length - 1).status, lookup_status::too_long);
    // A longer cache is no reason to lose the file, a shorter one makes it reachable.
    EXPECT_EQ(find(at("longer_cache") + L"*" + at("store"), copy_policy::into_first_tier, length).path,
              file_in("store"));
    EXPECT_FALSE(test::fs::exists(root_ / "longer_cache"));
    EXPECT_EQ(find(at("s") + L"*" + at("store"), copy_policy::into_first_tier, length - 1).path, file_in("s"));
}

TEST_F(Lookup, RelativeStoreIsAnsweredAsAnAbsolutePath) {
    write_file(file_in("store"), "content");
    const auto before = test::fs::current_path();
    test::fs::current_path(root_.path());
    const auto result = find(L"store");
    test::fs::current_path(before);
    EXPECT_TRUE(result.path.is_absolute());
    EXPECT_EQ(read_file(result.path), "content");
}

// Whoever sees the file in the cache sees all of it, and every search gets an answer.
TEST_F(Lookup, ConcurrentCopiesNeverShowAPart) {
    const std::string content(3'000'000, 'x');
    write_file(file_in("store"), content);
    std::atomic<int> faults = 0;
    std::atomic<int> answers = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            boost::system::error_code none;
            while (test::fs::file_size(file_in("cache"), none) == static_cast<std::uintmax_t>(-1)) {
                const auto result = find(at("cache") + L"*" + at("store"));
                if (result.status != lookup_status::found || read_file(result.path) != content) ++faults;
                ++answers;
            }
            if (test::fs::file_size(file_in("cache")) != content.size()) ++faults;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_GE(answers, 1);
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(test::count_entries(file_in("cache").parent_path()), 1u);
}

}  // namespace
}  // namespace qv::symbol_store
