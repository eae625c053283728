// The small parts of the reader, each on its own.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <thread>

#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/failure_test_support.h"
#include "symbol_services/classic_reader/global_references.h"
#include "symbol_services/classic_reader/lazy.h"
#include "symbol_services/classic_reader/path_fold.h"
#include "symbol_services/classic_reader/pdb_errors.h"
#include "tests/support/files/test_files.h"

namespace qv::classic_reader {
namespace {

TEST(PathFold, IsLowerCaseWithBackslashes) {
    // A-umlaut, thorn, times; L-stroke, Z-caron; omega, zhe; A with dot below, alpha with tonos, Armenian ayb,
    // Y-diaeresis, S-comma, ghe with upturn; a letter that grows; full-width A.
    EXPECT_EQ(fold_path("[@`{~}]AZ/\u00C4\u00DE\u00D7\u0141\u017D\u03A9\u0416"),
              "[@`{~}]az\\\u00E4\u00FE\u00D7\u0142\u017E\u03C9\u0436");
    EXPECT_EQ(fold_path("\u1EA0\u0386\u0531\u0178\u0218\u0490\u023A\uFF21"),
              "\u1EA1\u03AC\u0561\u00FF\u0219\u0491\u2C65\uFF41");
    // What is no text stays: cut off, overlong, a surrogate, a lone continuation.
    for (const std::string other : {"\xE1\xBA", "\xC1\x81", "\xE0\x81\x81", "\xED\xA0\x80", "\x80", "\xF8\x81"})
        EXPECT_EQ(fold_path(other + "A"), other + "a");
}

// Computed apart from this code, for names that real files were seen to keep in these buckets.
TEST(GlobalReferences, HashesNamesAsWritersDo) {
    EXPECT_EQ(hash_name("06000001"), 0x21242300u);
    EXPECT_EQ(hash_name("0600005f"), 0x762B94AFu);
    EXPECT_EQ(hash_name("abcdefg"), 0x646FCC68u);
    EXPECT_EQ(hash_name(""), 0x20240400u);
}

TEST(Lazy, WhatLiesInTheContentIsTriedOnce) {
    const lazy<int> value;
    int tries = 0;
    const auto make = [&]() -> int { ++tries, throw_corrupt("Invalid"); };
    for (int i = 0; i < 2; ++i) EXPECT_EQ(failure_of([&] { value.get(make); }), "Invalid, 806d000e");
    EXPECT_EQ(tries, 1);
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
    for (int i = 0; i < 8; ++i) threads.emplace_back([&] { failure_of([&] { answers += value.get(make) == 7; }); });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(tries, 3);
    EXPECT_EQ(answers, 6);
}

std::string text_of(const byte_source& file) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(file.size()));
    file.read(0, bytes);
    return {bytes.begin(), bytes.end()};
}

TEST(DiskFile, WhatIsNoFileIsRefused) {
    const testing::temporary_directory directory;
    EXPECT_EQ(failure_of([&] { open_disk_file(directory.path() / "missing"); }), "Can't open PDB file, 806d0005");
    EXPECT_NE(failure_of([&] { open_disk_file(directory.path()); }), "");
}

// A build that renames the old file, or writes to it, must not be held up.
TEST(DiskFile, CanBeReplacedWhileItIsOpenAndIsNotReadOnceItWasWrittenTo) {
    const testing::temporary_directory directory;
    const auto path = directory.write("module.pdb", "old");
    const auto opened = open_disk_file(path);
    const auto aside = directory.path() / "module.old";
    boost::filesystem::rename(path, aside);
    directory.write("module.pdb", "new");
    EXPECT_EQ(text_of(*opened), "old");
    directory.write("module.old", "written in place");
    EXPECT_EQ(failure_of([&] { text_of(*opened); }), "PDB file was written to, 806d0004");
    directory.write("module.old", "");
    EXPECT_EQ(failure_of([&] { text_of(*opened); }), "Can't read PDB file, 806d0004");
}

}  // namespace
}  // namespace qv::classic_reader
