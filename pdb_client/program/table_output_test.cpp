#include "pdb_client/program/table_output.h"

#include <gtest/gtest.h>

#include "pdb_client/program/sample_symbols.h"

namespace qv::profiler::pdb_client {
namespace {

TEST(TableOutput, Dump) {
    EXPECT_EQ(dump_table(sample_symbols()),
              "orders.dll  MVID 7d3be11c-9bd2-4ca7-a626-1c82b93935a9\n"
              "7 methods, 3 with sequence points; 7 points in 3 documents; 6 bytes of source server data\n"
              "\n"
              " [1] /src/\u00dcberg.cs\n"
              "     SHA-1 dbeb2a\n"
              " [3] C:\\b\\x1b.cs\n"
              "     no checksum\n"
              "\n"
              "0x06000001  [1] /src/\u00dcberg.cs\n"
              "    IL_0000   9:5 -  9:6\n"
              "    IL_0001  10:9 - 12:102\n"
              "    IL_012c  hidden\n"
              "\n"
              "0x06000002  several documents\n"
              "    IL_0000   7:1 - 7:2  [1] /src/\u00dcberg.cs\n"
              "    IL_12345  hidden     [3] C:\\b\\x1b.cs\n"
              "    IL_12346  8:1 - 8:2  [12]\n"
              "\n"
              "0x06000005  [3] C:\\b\\x1b.cs\n"
              "    IL_0000  hidden\n");
}

TEST(TableOutput, NothingToShow) {
    module_symbols symbols{{L"m", {}, 1, symbol_kind::none, {}, {}}, {{}}, {{}}, {}};
    EXPECT_EQ(dump_table(symbols),
              "m  MVID 00000000-0000-0000-0000-000000000000\n"
              "1 method, 0 with sequence points; 0 points in 0 documents\n");
    EXPECT_EQ(documents_table({}), "no documents\n");
}

TEST(TableOutput, LongNamesAreCutToThePageInMethodsOnly) {
    const std::string name(100, 'd');
    const std::vector<document_symbols> documents = {{1, {std::wstring(100, L'd'), {}, {}}, {}},
                                                     {2, {L"b", {}, {}}, {}}};
    EXPECT_EQ(method_table_text({6, {{0, {1, 1, 1, 1, 2}}}, {}}, documents),
              "0x00000006  [1] ..." + name.substr(19) + "\n    IL_0000  1:1 - 1:2\n");
    EXPECT_EQ(method_table_text({6, {{0, {1, 1, 1, 1, 2}}, {1, {2, 1, 1, 1, 2}}}, {}}, documents),
              "0x00000006  several documents\n    IL_0000  1:1 - 1:2  [1] ..." + name.substr(31) +
                  "\n    IL_0001  1:1 - 1:2  [2] b\n");
    EXPECT_EQ(documents_table({documents[0]}), "[1] " + name + "\n    no checksum\n");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
