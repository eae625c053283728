#include "symbol_services/symbol_server/pointer_file.h"

#include <gtest/gtest.h>

#include "symbol_services/symbol_server/test_store.h"

namespace qv::symbol_store {
namespace {

TEST(PointerText, FirstLineNamesTheFile) {
    for (const std::string text : {"PATH:\\\\host\\share\\a.pdb", "path: \\\\host\\share\\a.pdb \r\nPATH:\\\\x\\y\\z",
                                   "\xEF\xBB\xBFPATH:\\\\host\\share\\a.pdb\n"})
        EXPECT_EQ(text::to_wide(parse_pointer(text)), L"\\\\host\\share\\a.pdb") << text;
    EXPECT_EQ(text::to_wide(parse_pointer("PATH://h/s/\xC3\xBC.pdb")), L"//h/s/\u00FC.pdb");
}

TEST(PointerText, LeadsNowhere) {
    for (const std::string text : {"", "MSG: moved to tape", "PATH:", "PATH:a.pdb", "\nPATH:\\\\host\\share\\a.pdb",
                                   "PATH:\\\\host\\share\\..\\a", "PATH:\\\\.\\pipe\\a",
                                   "PATH:\\\\host\\share\\FILE.PTR", "PATH:\\\\h\\s\\a\xFF.pdb", "PATH:\\\\h\\s\\\xC3",
                                   "xPATH:\\\\host\\share\\a.pdb", "PATH:\\\\host\\share\\NUL"})
        EXPECT_TRUE(parse_pointer(text).empty()) << text;
}

TEST(PointerFile, HugeFileIsNotRead) {
    const test::temporary_directory directory;
    const auto pointer = directory / "file.ptr";
    test::write_file(pointer, "PATH://host/share/a.pdb\n");
    EXPECT_FALSE(read_pointer_file(pointer).empty());
    test::fs::resize_file(pointer, 1u << 30);
    EXPECT_TRUE(read_pointer_file(pointer).empty());
}

TEST(PointerFile, DirectoryAndMissingFile) {
    const test::temporary_directory directory;
    EXPECT_TRUE(read_pointer_file(directory.path()).empty());
    EXPECT_TRUE(read_pointer_file(directory / "file.ptr").empty());
}

}  // namespace
}  // namespace qv::symbol_store
