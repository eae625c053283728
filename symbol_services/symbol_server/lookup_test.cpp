#include "symbol_services/symbol_server/lookup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <thread>

#include "base/os_file.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;
using qv::testing::read_file;
using status = lookup_status;

class Lookup : public ::testing::Test {
protected:
    lookup_result find(const std::wstring& search_string, std::size_t longest_path = text::longest_path,
                       const wchar_t* name = L"app.pdb", copy_policy copying = copy_policy::into_caches) {
        const request wanted = {*file_key::make(name, L"KEY1"), longest_path, [this](const auto&) { ++places_; }};
        const std::wstring default_store = at("default");
        return find_file(parse_search_string(search_string, default_store), wanted, copying);
    }

    std::wstring at(const fs::path& store) const { return text::to_wide(root_.path() / store); }
    static fs::path inside(const fs::path& store) { return store / "app.pdb" / "KEY1" / "app.pdb"; }
    fs::path file_in(const fs::path& store) const { return root_.path() / inside(store); }
    void put(const fs::path& store, const std::string& content = "content") const {
        root_.write(inside(store), content);
    }
    std::size_t count_beside(const fs::path& file) const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()));
    }

    const qv::testing::temporary_directory root_;
    std::atomic<std::size_t> places_ = 0;  // told to the trace
};

TEST_F(Lookup, OnlyTheFileOfThisBuildInTheLayoutOfTheStoreCounts) {
    const struct {
        const char* file;
        const wchar_t* name;
        bool is_found;
    } cases[] = {
        {"one/app.pdb/KEY1/app.pdb", L"app.pdb", true},  {"one/b.pdb/KEY2/b.pdb", L"b.pdb", false},
        {"one/c.pdb/KEY1/c.pdb/inner", L"c.pdb", false}, {"one/d.pdb/KEY1/d.pd_", L"d.pdb", false},
        {"two/app.pdb/KEY1/app.pdb", L"app.pdb", false}, {"two/c/c.x/KEY1/c.x", L"c.x", true},
        {"two/dd/dd.pdb/KEY1/dd.pdb", L"dd.pdb", true},  {"..x/KEY1/..x", L"..x", false},
        {"two/x", L"a\xD83D\xDE00.pdb", false},
    };
    root_.write("two/index2.txt", "");
    for (const auto& each : cases) {
        const auto file = root_.write(each.file, "x").make_preferred();
        const auto found = find(at(each.file[0] == 'o' ? "one" : "two"), text::longest_path, each.name).path;
        EXPECT_EQ(found, each.is_found ? file : fs::path()) << each.file;
    }
    const auto dots = root_.path() / "..x" / "KEY1" / "..x";
    EXPECT_EQ(find(at("two") + L"*" + at(""), text::longest_path, L"..x").path, dots) << "nor do copies leave a cache";
}

TEST_F(Lookup, PointersLeadToFilesAndAreCopiedUnderTheNameAskedFor) {
    const auto build = root_.write("build/x.bin", "content");
    const auto pointer = root_.write("store/app.pdb/KEY1/file.ptr", build.string());
    EXPECT_EQ(find(at("store")).path, build);
    EXPECT_EQ(find(at("cache") + L"*" + at("store")).path, file_in("cache"));
    EXPECT_EQ(read_file(file_in("cache")), "content");
    for (const auto& target : {root_.path(), root_.path() / "gone.pdb", pointer}) {
        root_.write("store/app.pdb/KEY1/file.ptr", "PATH:" + target.string());
        EXPECT_EQ(find(at("store")).status, status::absent) << target;
    }
    root_.write("store/app.pdb/KEY1/file.ptr", build.string() + "\n");
    fs::resize_file(pointer, 1u << 30);
    EXPECT_EQ(find(at("store")).status, status::absent) << "a pointer file of this size is not read";
}

TEST_F(Lookup, LeftmostElementAnswers) {
    put("b");
    put("c");
    fs::create_directories(at("a"));
    const auto before = fs::current_path();
    fs::current_path(root_.path());
    EXPECT_EQ(find(L"b").path, fs::current_path() / inside("b")) << "answered as an absolute path";
    EXPECT_EQ(find(at("a") + L";srv*ftp://host/x*\\\\.\\pipe\\x*" + at("b") + L";" + at("c")).path, file_in("b"));
    EXPECT_EQ(count_beside(root_.path() / "b"), 3u) << "no copies into other places";
    fs::current_path(before);
}

TEST_F(Lookup, PrefixesAreOptionalAndOfAnyCase) {
    put("store");
    put("default");
    for (const std::wstring prefix :
         {L"", L"srv*", L"SRV*", L"Cache*", L"symsrv*symsrv.dll*", L"SymSrv*C:\\x\\SYMSRV.DLL*", L"symsrv*symsrv*",
          L"symsrv*other.dll*default;", L";symsrv*;symsrv*xsymsrv.dll*;"})
        EXPECT_EQ(find(prefix + at("store")).path, file_in("store")) << ::testing::PrintToString(prefix);
    for (const std::wstring text : {L"", L"srv*", L"cache*", L"symsrv*symsrv.dll", L"gone;srv**x"})
        EXPECT_EQ(find(text).path, file_in("default")) << ::testing::PrintToString(text);
    for (const auto& text : {L"symsrv*other.dll*" + at("store"), at("store") + L'\0' + L"x", std::wstring(L";")})
        EXPECT_EQ(find(text).status, status::unreachable) << ::testing::PrintToString(text);
}

TEST_F(Lookup, HitIsCopiedIntoEveryWritableCacheOnItsLeft) {
    put("hit");
    root_.write("full", "a file where the directory should be");
    const auto search = L"cache*" + at("c1") + L";" + at("plain") + L";cache*" + at("c2") + L"*" + at("x") + L";srv*" +
                        at("a") + L"*" + at("full") + L"*" + at("b") + L"*" + at("hit") + L"*" + at("right");
    EXPECT_EQ(find(search, text::longest_path, L"app.pdb", copy_policy::never).path, file_in("hit"));
    EXPECT_FALSE(fs::exists(at("c1")));
    EXPECT_EQ(find(search).path, file_in("c1"));
    for (const auto* cache : {"c1", "c2", "a", "b"}) {
        EXPECT_EQ(read_file(file_in(cache)), "content");
        EXPECT_TRUE(fs::exists(root_.path() / cache / "pingme.txt"));
    }
    for (const auto* other : {"plain", "x", "right"}) EXPECT_FALSE(fs::exists(at(other))) << other;
}

TEST_F(Lookup, FailedCopyLeavesNothingAndAnswersTheOriginal) {
    put("store");
    root_.write(inside("taken") / "inner", "a directory that no file can replace");
    EXPECT_EQ(find(at("taken") + L"*" + at("store")).path, file_in("store"));
    EXPECT_EQ(count_beside(file_in("taken")), 1u);
    fs::resize_file(file_in("store"), std::uintmax_t{1} << 32);
    EXPECT_EQ(find(at("cache") + L"*" + at("store")).path, file_in("store"));
    EXPECT_EQ(count_beside(file_in("cache")), 0u);
}

TEST_F(Lookup, ReasonsForNoAnswer) {
    fs::create_directories(at("empty"));
    EXPECT_EQ(find(at("empty") + L";" + at("gone")).status, status::absent);
    for (const auto& nowhere : {at("gone"), L"srv*\xD800" + at("")})
        EXPECT_EQ(find(nowhere).status, status::unreachable);

    put("store");
    const auto length = text::to_wide(file_in("store")).size();
    EXPECT_EQ(find(at("store"), length).status, status::found);
    EXPECT_EQ(find(at("store") + L";" + at("gone"), length - 1).status, status::too_long);
    // A longer cache is no reason to lose the file, a shorter one makes it reachable.
    EXPECT_EQ(find(at("longer_cache") + L"*" + at("store"), length).path, file_in("store"));
    EXPECT_FALSE(fs::exists(at("longer_cache")));
    EXPECT_EQ(find(at("s") + L"*" + at("store"), length - 1).path, file_in("s"));
}

// However caches and stores are mixed, each place is looked at once, and a cache that failed is not tried again.
TEST_F(Lookup, CostIsInProportionToTheSearchString) {
    constexpr std::size_t count = 500;
    root_.write("file", "no directory");
    put("s");
    std::wstring search;
    for (std::size_t i = 0; i < count; ++i) search += L"cache*" + at("file") + L";srv*" + at("file") + L";";
    for (std::size_t i = 0; i < count; ++i) search += at("s") + L";";
    EXPECT_EQ(find(search, 1).status, status::too_long);
    EXPECT_EQ(places_, 4 * count);
}

// Whoever sees the file in the cache sees all of it, and every search gets an answer.
TEST_F(Lookup, ConcurrentCopiesNeverShowAPart) {
    const std::string content(1'000'000, 'x');
    put("store", content);
    std::atomic<int> faults = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            boost::system::error_code none;
            do {
                // Read as the product does, beside renaming and deletion.
                os_file file;
                std::uint64_t size = 0;
                std::string seen(content.size(), ' ');
                if (file.open(find(at("cache") + L"*" + at("store")).path, os_file::mode::copy) != 0 ||
                    file.get_size(size) != 0 || size != seen.size() || file.read(0, seen.data(), size) != 0 ||
                    seen != content)
                    ++faults;
            } while (fs::file_size(file_in("cache"), none) == static_cast<std::uintmax_t>(-1));
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(count_beside(file_in("cache")), 1u);
}

}  // namespace
}  // namespace qv::symbol_store
