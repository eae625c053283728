#include "symbol_services/classic_reader/disk_file.h"

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
    EXPECT_EQ(failure_of([&] { open_disk_file(directory.path() / "missing" / "below"); }),
              "Can't open PDB file, 806d0005");
    EXPECT_NE(failure_of([&] { open_disk_file(directory.path()); }), "");
}

// A build that writes its output beside the old one and renames it must not be held up.
TEST(DiskFile, CanBeReplacedWhileItIsOpen) {
    const testing::temporary_directory directory;
    const auto path = directory.write("module.pdb", "old");
    const auto fresh = directory.write("module.tmp", "new");
    const auto opened = open_disk_file(path);
    boost::filesystem::rename(path, directory.path() / "module.old");
    boost::filesystem::rename(fresh, path);
    EXPECT_EQ(text_of(*opened), "old");
    EXPECT_EQ(testing::read_file(path), "new");
}

TEST(DiskFile, IsNotReadAfterSomebodyWroteToIt) {
    const testing::temporary_directory directory;
    const auto path = directory.write("module.pdb", "old");
    const auto opened = open_disk_file(path);
    EXPECT_EQ(text_of(*opened), "old");
    directory.write("module.pdb", "written in place");
    EXPECT_EQ(failure_of([&] { text_of(*opened); }), "PDB file was written to, 806d0004");
    directory.write("module.pdb", "");
    EXPECT_EQ(failure_of([&] { text_of(*opened); }), "Can't read PDB file, 806d0004");
    EXPECT_EQ(text_of(*open_disk_file(path)), "");
}

}  // namespace
}  // namespace qv::classic_reader
