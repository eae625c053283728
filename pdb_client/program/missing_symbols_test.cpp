// What is said of modules without symbols, on modules that a compiler wrote.
#include "pdb_client/program/missing_symbols.h"

#include <gmock/gmock.h>

#include "pdb_client/program/display_text.h"
#include "pdb_client/program/mistaken_pdb.h"
#include "pdb_client/program/module_file.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/sample_module.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using qv::testing::fixture;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* advice =
    "Put the PDB of this build beside the module, or name its directory with --search_path.\n"
    "pdb_client explain tells every place where the server looks, and what it finds there.\n";

std::string shown(const boost::filesystem::path& place) {
    return printable(text::to_wide(place));
}

TEST(MissingSymbols, ByTheKindThatTheImageNames) {
    const std::pair<const char*, std::string> cases[] = {
        {"NoSymbols.dll", "the image names no symbols: it was built without a PDB\n"},
        {"Embedded.dll", "the portable PDB in the image was not accepted\n"},
        {"Mismatch.dll",
         "its portable PDB is of another build\n"
         "    wanted  a653c251-9e85-4496-8c6f-8134ccc4a1aa stamp bec0e361  C:\\src\\Mismatch.pdb\n"
         "    found   d357adac-f094-4053-8140-c7fa068bbbb7 stamp b611b533  " +
             shown(fixture("Mismatch.pdb")) + "\n" + advice}};
    for (const auto& [name, text] : cases) EXPECT_EQ(missing_symbols_text(read_module_file(fixture(name)), {}), text);
}

// Nothing, then a file that is no PDB, then besides it the right one, which the server did not take all the same.
TEST(MissingSymbols, WhatLiesAlongTheSearchPath) {
    const qv::testing::temporary_directory directory;
    const auto image = directory.copy(fixture("Standalone.dll"), "app/Standalone.dll");
    const auto a = directory.path() / "a";
    const auto b = directory.path() / "b";
    const std::vector<std::wstring> search_paths = {L"srv*s", text::to_wide(a), text::to_wide(b), text::to_wide(b)};
    const std::string id = "13f42c9c-9d6f-466e-b84f-5a724a488af0 stamp e227c2a9  ";
    const std::string wanted = "    wanted  " + id + "C:\\src\\Standalone.pdb\n";
    const auto text = [&] { return missing_symbols_text(read_module_file(image), search_paths); };
    EXPECT_EQ(text(), "its portable PDB was not found\n" + wanted + advice);

    directory.write("a/Standalone.pdb", std::string(40, 'j'));
    const std::string refused = "    found   " + shown(directory.path() / "a" / "Standalone.pdb") +
                                ", unreadable: Invalid metadata signature\n";
    EXPECT_EQ(text(), "its portable PDB cannot be read\n" + wanted + refused + advice);

    directory.copy(fixture("Standalone.pdb"), "b/Standalone.pdb");
    EXPECT_EQ(text(), "its portable PDB was not accepted by the server\n" + wanted + refused + "    found   " + id +
                          shown(directory.path() / "b" / "Standalone.pdb") +
                          "\nThe server may not be allowed to read it, or --policy leaves its place out.\n");
}

TEST(MissingSymbols, ClassicPdbOfAnotherLink) {
    auto description = qv::test::sample_pdb_description();
    description.guid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    description.age = 3;
    const qv::testing::sample_module sample(description);
    description.age = 2;
    qv::testing::sample_module::write_pdb(sample.directory, description);
    EXPECT_EQ(missing_symbols_text(read_module_file(sample.image), {}),
              "its classic PDB is of another build\n"
              "    wanted  00000001-0002-0003-0405-060708090a0b age 3  C:\\obj\\module.pdb\n"
              "    found   00000001-0002-0003-0405-060708090a0b age 2  " +
                  shown(sample.pdb) + "\n" + advice);
}

TEST(MissingSymbols, RecordedPathsAndModulesWithAnotherName) {
    module_info module = read_module_file(fixture("Standalone.dll"));
    const auto text = [&] { return missing_symbols_text(module, {}); };
    module.path = L"/nowhere/m.dll";
    module.recorded_pdb = shown(fixture("Standalone.pdb"));
    EXPECT_THAT(text(), StartsWith("its portable PDB was not accepted by the server\n"));
    module.path = text::to_wide(fixture("Standalone.dll"));
    module.recorded_pdb = "/obj/Other.pdb";
    EXPECT_THAT(text(), StartsWith("its portable PDB has another name\n"));
    module.recorded_pdb = "b\x1b\xff.pdb";
    EXPECT_THAT(text(), HasSubstr("was not found\n    wanted  13f42c9c-9d6f-466e-b84f-5a724a488af0 stamp e227c2a9  "
                                  "b\\x1b\\xff.pdb\n"));
}

TEST(MistakenPdb, KindAndImageToNameInstead) {
    const qv::testing::temporary_directory directory;
    const auto standalone = directory.copy(fixture("Standalone.pdb"), "a.pdb");
    const qv::testing::sample_module classic(qv::test::sample_pdb_description());
    const std::string id =
        "this is a portable PDB, not an image: 13f42c9c-9d6f-466e-b84f-5a724a488af0 stamp e227c2a9\n";
    constexpr const char* wanted = "Name the image that it was built with instead, a .dll or .exe file.\n";
    EXPECT_EQ(mistaken_pdb_text(standalone), id + wanted);
    EXPECT_EQ(mistaken_pdb_text(fixture("Standalone.pdb")),
              id + "Name its image instead: " + shown(fixture("Standalone.dll")) + "\n");
    EXPECT_THAT(mistaken_pdb_text(fixture("Mismatch.pdb")),
                HasSubstr("\nThe image beside it is of another build: " + shown(fixture("Mismatch.dll")) + "\n"));
    EXPECT_THAT(mistaken_pdb_text(classic.pdb), StartsWith("this is a classic PDB, not an image: "));
    EXPECT_EQ(mistaken_pdb_text(fixture("Standalone.dll")), "");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
