// Both forms of output, on the same symbols.
#include <gmock/gmock.h>

#include "pdb_client/program/json_output.h"
#include "pdb_client/program/table_output.h"

namespace qv::profiler::pdb_client {
namespace {

// Several documents, hidden points, errors, a non-ASCII name.
module_symbols sample_symbols() {
    constexpr GUID sha1 = {0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}};
    module_symbols symbols{};
    symbols.module = {L"C:\\app\\orders.dll", sha1, 7, symbol_kind::portable, {}, {}};
    symbols.documents = {{1, {L"/src/\u00dcberg.cs", sha1, {0xdb, 0xeb, 0x2a}}, {}},
                         {3, {L"C:\\b\x1b.cs", {}, {}}, {}},
                         {12, {}, "Too large table index"}};
    symbols.methods = {
        {0x06000001, {{0, {1, 9, 5, 9, 6}}, {1, {1, 10, 9, 12, 102}}, {300, {1, 0xFEEFEE, 0, 0xFEEFEE, 0}}}, {}},
        {0x06000002, {{0, {1, 7, 1, 7, 2}}, {0x12345, {3, 0xFEEFEE, 0, 0xFEEFEE, 0}}, {0x12346, {12, 8, 1, 8, 2}}}, {}},
        {0x06000004, {}, "End of \xe9"},
        {0x06000005, {{0, {3, 0xFEEFEE, 0, 0xFEEFEE, 0}}}, {}}};
    symbols.source_server = source_server_symbols{{'{', '"', 0xC3, 0xA9, '"', '}'}, {}};
    return symbols;
}

TEST(JsonOutput, Everything) {
    EXPECT_EQ(to_json(sample_symbols()),
              R"({
  "module": "C:\\app\\orders.dll",
  "mvid": "ff1816ec-aa5e-4d10-87f7-6f4963833460",
  "methodDefs": 7,
  "documents": [
    {"id":1,"name":"/src/)"
              "\u00dc"
              R"(berg.cs","hashAlgorithm":"SHA-1","hash":"dbeb2a"},
    {"id":3,"name":"C:\\b\u001b.cs","hashAlgorithm":null,"hash":null},
    {"id":12,"error":"Too large table index"}
  ],
  "methods": [
    {"token":"0x06000001","points":[{"offset":0,"document":1,"startLine":9,"startColumn":5,"endLine":9,"endColumn":6,"hidden":false},{"offset":1,"document":1,"startLine":10,"startColumn":9,"endLine":12,"endColumn":102,"hidden":false},{"offset":300,"document":1,"startLine":16707566,"startColumn":0,"endLine":16707566,"endColumn":0,"hidden":true}]},
    {"token":"0x06000002","points":[{"offset":0,"document":1,"startLine":7,"startColumn":1,"endLine":7,"endColumn":2,"hidden":false},{"offset":74565,"document":3,"startLine":16707566,"startColumn":0,"endLine":16707566,"endColumn":0,"hidden":true},{"offset":74566,"document":12,"startLine":8,"startColumn":1,"endLine":8,"endColumn":2,"hidden":false}]},
    {"token":"0x06000004","error":"End of \\xe9"},
    {"token":"0x06000005","points":[{"offset":0,"document":3,"startLine":16707566,"startColumn":0,"endLine":16707566,"endColumn":0,"hidden":true}]}
  ],
  "sourceServerData": "{\")"
              "\u00e9"
              R"(\"}"
}
)");
}

TEST(JsonOutput, NoDocumentsAndSourceServerDataThatIsNoText) {
    const std::pair<source_server_symbols, const char*> cases[] = {
        {{}, R"("sourceServerData": null)"},
        {{{0xE9, 0x00}, {}}, R"("sourceServerDataHex": "e900")"},
        {{{}, "a\"b"}, R"("sourceServerError": "a\"b")"}};
    for (const auto& [data, line] : cases)
        EXPECT_THAT(to_json({{}, std::vector<document_symbols>{}, {}, data}),
                    testing::EndsWith(std::string("\"documents\": [],\n  ") + line + "\n}\n"));
}

TEST(TableOutput, Dump) {
    EXPECT_EQ(dump_table(sample_symbols()),
              "orders.dll  MVID ff1816ec-aa5e-4d10-87f7-6f4963833460\n"
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

TEST(TableOutput, LongNamesAreCutToThePageInMethodsOnly) {
    const std::string name(100, 'd');
    const std::vector<document_symbols> documents = {{1, {std::wstring(100, L'd'), {}, {}}, {}},
                                                     {2, {L"b", {}, {}}, {}}};
    EXPECT_EQ(method_table_text({6, {{0, {1, 1, 1, 1, 2}}}, {}}, documents),
              "0x00000006  [1] ..." + name.substr(19) + "\n    IL_0000  1:1 - 1:2\n");
    EXPECT_EQ(method_table_text({6, {{0, {1, 1, 1, 1, 2}}, {1, {2, 1, 1, 1, 2}}}, {}}, documents),
              "0x00000006  several documents\n    IL_0000  1:1 - 1:2  [1] ..." + name.substr(31) +
                  "\n    IL_0001  1:1 - 1:2  [2] b\n");
    EXPECT_EQ(documents_table({}), "no documents\n");
    EXPECT_EQ(documents_table({documents[0]}), "[1] " + name + "\n    no checksum\n");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
