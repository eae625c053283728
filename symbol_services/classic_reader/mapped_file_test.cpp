#include "symbol_services/classic_reader/mapped_file.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <optional>
#include <string>

#include "symbol_services/classic_reader/failure_test_support.h"
#include "tests/support/files/test_files.h"

namespace qv::classic_reader {
namespace {

std::string text_of(const mapped_file& file) {
    return {file.bytes().begin(), file.bytes().end()};
}

TEST(MappedFile, ShowsTheBytes) {
    const testing::temporary_directory directory;
    EXPECT_EQ(text_of(mapped_file(directory.write("some", "abc"))), "abc");
    EXPECT_EQ(text_of(mapped_file(directory.write("empty", ""))), "");
}

TEST(MappedFile, WhatIsNoFileIsRefused) {
    const testing::temporary_directory directory;
    EXPECT_EQ(failure_of([&] { mapped_file(directory.path() / "missing"); }), "Can't open PDB file, 806d0005");
    EXPECT_EQ(failure_of([&] { mapped_file(directory.path() / "missing" / "below"); }),
              "Can't open PDB file, 806d0005");
    EXPECT_NE(failure_of([&] { mapped_file{directory.path()}; }), "");
}

// A build that writes its output beside the old one and renames it must not be held up.
TEST(MappedFile, CanBeReplacedWhileItIsOpen) {
    const testing::temporary_directory directory;
    const auto path = directory.write("module.pdb", "old");
    const auto fresh = directory.write("module.tmp", "new");
    const auto aside = directory.path() / "module.old";
    const mapped_file mapped(path);
    boost::filesystem::rename(path, aside);
    boost::filesystem::rename(fresh, path);
    EXPECT_EQ(text_of(mapped), "old");
    EXPECT_EQ(testing::read_file(path), "new");
}

TEST(MappedFile, IsFreeAtOnceAfterwards) {
    const testing::temporary_directory directory;
    const auto path = directory.write("module.pdb", "old");
    std::optional<mapped_file> mapped(std::in_place, path);
    mapped.reset();
    directory.write("module.pdb", "written in place");
    EXPECT_EQ(testing::read_file(path), "written in place");
    EXPECT_TRUE(boost::filesystem::remove(path));
}

}  // namespace
}  // namespace qv::classic_reader
