#include "symbol_services/classic_reader/byte_source.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "symbol_services/classic_reader/failure_test_support.h"
#include "tests/support/files/test_files.h"

namespace qv::classic_reader {
namespace {

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
