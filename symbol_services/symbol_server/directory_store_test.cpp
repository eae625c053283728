#include "symbol_services/symbol_server/directory_store.h"

#include <gmock/gmock.h>

#include "symbol_services/symbol_server/test_store.h"

namespace qv::symbol_store {
namespace {

using test::write_file;
using status = find_result::status;

request looking_for(const wchar_t* name) {
    return {*file_key::make(name, L"KEY1"), 259, {}};
}

class DirectoryStore : public testing::Test {
protected:
    test::temporary_directory root_;
    directory_store store_{root_.path()};
};

TEST_F(DirectoryStore, FindsTheFileOfThisIndexOnly) {
    write_file(root_ / "app.pdb/KEY1/app.pdb", "x");
    write_file(root_ / "lib.pdb/KEY2/lib.pdb", "x");
    const auto hit = store_.find(looking_for(L"app.pdb"));
    EXPECT_EQ(hit.outcome, status::found);
    EXPECT_EQ(hit.path, root_ / "app.pdb" / "KEY1" / "app.pdb");
    EXPECT_EQ(store_.find(looking_for(L"lib.pdb")).outcome, status::absent);
}

TEST_F(DirectoryStore, DirectoryAndCompressedFileAreAbsent) {
    write_file(root_ / "app.pdb/KEY1/app.pdb/inner", "x");
    write_file(root_ / "lib.pdb/KEY1/lib.pd_", "x");
    EXPECT_EQ(store_.find(looking_for(L"app.pdb")).outcome, status::absent);
    EXPECT_EQ(store_.find(looking_for(L"lib.pdb")).outcome, status::absent);
}

TEST_F(DirectoryStore, TwoTiersAreUsedWhereTheRootSaysSo) {
    write_file(root_ / "app.pdb/KEY1/app.pdb", "one tier");
    write_file(root_ / "ap/app.pdb/KEY1/app.pdb", "two tiers");
    write_file(root_ / "a/a.x/KEY1/a.x", "the dot goes");
    write_file(root_ / "index2.txt", "");
    EXPECT_EQ(test::read_file(store_.find(looking_for(L"app.pdb")).path), "two tiers");
    EXPECT_EQ(test::read_file(store_.find(looking_for(L"a.x")).path), "the dot goes");
}

TEST_F(DirectoryStore, NameOfDotsDoesNotLeaveATwoTierStore) {
    const directory_store inner(root_ / "inner");
    write_file(root_ / "inner/index2.txt", "");
    write_file(root_ / "..x/KEY1/..x", "outside");
    EXPECT_EQ(inner.find(looking_for(L"..x")).outcome, status::absent);
    EXPECT_EQ(inner.add(looking_for(L"..x"), root_ / "..x/KEY1/..x"), std::nullopt);
}

TEST_F(DirectoryStore, PointerLeadsToTheFile) {
    write_file(root_ / "builds/app.pdb", "x");
    write_file(root_ / "app.pdb/KEY1/file.ptr", "PATH:" + (root_ / "builds/app.pdb").string());
    const auto hit = store_.find(looking_for(L"app.pdb"));
    EXPECT_EQ(hit.outcome, status::found);
    EXPECT_EQ(hit.path, root_ / "builds/app.pdb");
}

TEST_F(DirectoryStore, PointerToDirectoryMissingFileOrItselfIsAbsent) {
    const auto pointer = root_ / "app.pdb/KEY1/file.ptr";
    for (const auto& target : {root_.path(), root_ / "gone.pdb", pointer}) {
        write_file(pointer, "PATH:" + target.string());
        EXPECT_EQ(store_.find(looking_for(L"app.pdb")).outcome, status::absent) << target;
    }
}

TEST_F(DirectoryStore, MissingRootIsUnreachable) {
    const directory_store gone(root_ / "gone");
    EXPECT_EQ(gone.find(looking_for(L"app.pdb")).outcome, status::unreachable);
    EXPECT_FALSE(gone.is_reachable());
    EXPECT_TRUE(store_.is_reachable());
}

TEST_F(DirectoryStore, AnyOfThreeNamesMarksAStore) {
    for (const auto* mark : {"pingme.txt", "000Admin/history.txt", "index2.txt"}) {
        const test::temporary_directory root;
        const directory_store store(root.path());
        EXPECT_FALSE(store.is_marked());
        write_file(root / mark, "");
        EXPECT_TRUE(store.is_marked()) << mark;
    }
}

TEST_F(DirectoryStore, AddMakesAMarkedStore) {
    write_file(root_ / "source.pdb", "content");
    const directory_store fresh(root_ / "new" / "cache");
    const auto path = fresh.add(looking_for(L"app.pdb"), root_ / "source.pdb");
    EXPECT_EQ(path, root_ / "new" / "cache" / "app.pdb" / "KEY1" / "app.pdb");
    EXPECT_EQ(test::read_file(*path), "content");
    EXPECT_EQ(test::count_entries(path->parent_path()), 1u);
    EXPECT_TRUE(fresh.is_marked());
}

TEST_F(DirectoryStore, AddKeepsTheFileThatIsThere) {
    write_file(root_ / "source.pdb", "new");
    write_file(root_ / "app.pdb/KEY1/app.pdb", "old");
    EXPECT_EQ(test::read_file(*store_.add(looking_for(L"app.pdb"), root_ / "source.pdb")), "old");
}

TEST_F(DirectoryStore, FailedAddLeavesNoFile) {
    write_file(root_ / "source.pdb", "content");
    EXPECT_EQ(store_.add(looking_for(L"app.pdb"), root_ / "gone.pdb"), std::nullopt);
    EXPECT_EQ(store_.add(looking_for(L"lib.pdb"), root_.path()), std::nullopt);
    EXPECT_EQ(test::count_entries(root_ / "app.pdb/KEY1"), 0u);

    // What cannot be renamed over goes as well.
    write_file(root_ / "dir.pdb/KEY1/dir.pdb/inner", "x");
    EXPECT_EQ(store_.add(looking_for(L"dir.pdb"), root_ / "source.pdb"), std::nullopt);
    EXPECT_EQ(test::count_entries(root_ / "dir.pdb/KEY1"), 1u);
}

TEST_F(DirectoryStore, TraceTellsWhatWasLookedAt) {
    std::vector<std::wstring> lines;
    auto wanted = looking_for(L"app.pdb");
    wanted.trace = [&](const std::wstring& line) { lines.push_back(line); };
    store_.find(wanted);
    const auto path = text::to_wide(root_.path() / "app.pdb" / "KEY1" / "app.pdb");
    EXPECT_THAT(lines, testing::ElementsAre(path + L" - not found"));
}

}  // namespace
}  // namespace qv::symbol_store
