#include "symbol_services/symbol_server/pointer_file.h"

#include <gtest/gtest.h>

#include "text/path.h"

namespace qv::symbol_store {
namespace {

TEST(PointerText, FirstLineNamesTheFile) {
    for (const std::string text : {"PATH:\\\\host\\share\\a.pdb", "path: \\\\host\\share\\a.pdb \r\nPATH:\\\\x\\y\\z",
                                   "\xEF\xBB\xBFPATH:\\\\host\\share\\a.pdb\n", " \\\\host\\share\\a.pdb\r\nx"})
        EXPECT_EQ(text::to_wide(parse_pointer(text)), L"\\\\host\\share\\a.pdb") << text;
    EXPECT_EQ(text::to_wide(parse_pointer("PATH://h/s/\xC3\xBC.pdb")), L"//h/s/\u00FC.pdb");
}

TEST(PointerText, LeadsNowhere) {
    for (const std::string text : {"", "MSG: moved to tape", "MSG:\\\\host\\share\\a.pdb", "PATH:", "a.pdb",
                                   "\nPATH:\\\\host\\share\\a.pdb", "xPATH:\\\\host\\share\\a.pdb"})
        EXPECT_TRUE(parse_pointer(text).empty()) << text;
    for (const std::string path :
         {"a.pdb", "\\a.pdb", "c:a.pdb", "c:\\", "1:\\a.pdb", "c:\\a\\..\\b.pdb", "c:\\a.pdb:s", "\\\\host\\share",
          "\\\\host\\share\\", "\\\\host\\share\\NUL", "\\\\host\\share\\a\\\\b", "\\\\host\\share\\..\\a",
          "\\\\.\\pipe\\a", "\\\\host\\share\\FILE.PTR", "\\\\host\\share\\\xFF"})
        EXPECT_TRUE(parse_pointer("PATH:" + path).empty()) << path;
}

}  // namespace
}  // namespace qv::symbol_store
