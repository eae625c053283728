// Both forms of output, on the same symbols.
#include <gmock/gmock.h>

#include "pdb_client/program/json_output.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/output_test_support.h"
#include "pdb_client/program/table_output.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr GUID sha1 = {0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}};
const module_info sample_module{L"C:\\app\\orders.dll", sha1, 7, symbol_kind::portable, {}, {}, {}};

// Several documents, hidden points, errors, a non-ASCII name.
void show_sample(presenter& shown) {
    const document_map documents = {{1, {{L"/src/\u00dcberg.cs", sha1, {0xdb, 0xeb, 0x2a}}, {}, {}, {}}},
                                    {3, {{L"C:\\b\x1b.cs", {}, {}}, {}, {}, {}}},
                                    {12, {{}, "Too large table index", {}, {}}}};
    const method_symbols methods[] = {
        {0x06000001, {{0, {1, 9, 5, 9, 6}}, {1, {1, 10, 9, 12, 102}}, {300, {1, 0xFEEFEE, 0, 0xFEEFEE, 0}}}, {}},
        {0x06000002, {{0, {1, 7, 1, 7, 2}}, {0x12345, {3, 0xFEEFEE, 0, 0xFEEFEE, 0}}, {0x12346, {12, 8, 1, 8, 2}}}, {}},
        {0x06000004, {}, "End of \xe9"},
        {0x06000005, {{0, {3, 0xFEEFEE, 0, 0xFEEFEE, 0}}}, {}}};
    shown.begin();
    shown.begin_methods();
    for (const method_symbols& method : methods) shown.method(method, documents);
    shown.documents(documents);
    shown.source_server({{'{', '"', 0xC3, 0xA9, '"', '}'}, {}});
    shown.end();
}

template <class Presenter>
std::string sample_text() {
    kept_output out;
    Presenter shown(command::dump, sample_module, out);
    show_sample(shown);
    return out.text;
}

TEST(JsonOutput, Everything) {
    EXPECT_EQ(sample_text<json_presenter>(),
              R"({
  "module": "C:\\app\\orders.dll",
  "mvid": "ff1816ec-aa5e-4d10-87f7-6f4963833460",
  "methodDefs": 7,
  "methods": [
    {"token":"0x06000001","name":null,"points":[{"offset":0,"document":1,"startLine":9,"startColumn":5,"endLine":9,"endColumn":6,"hidden":false},{"offset":1,"document":1,"startLine":10,"startColumn":9,"endLine":12,"endColumn":102,"hidden":false},{"offset":300,"document":1,"startLine":16707566,"startColumn":0,"endLine":16707566,"endColumn":0,"hidden":true}]},
    {"token":"0x06000002","name":null,"points":[{"offset":0,"document":1,"startLine":7,"startColumn":1,"endLine":7,"endColumn":2,"hidden":false},{"offset":74565,"document":3,"startLine":16707566,"startColumn":0,"endLine":16707566,"endColumn":0,"hidden":true},{"offset":74566,"document":12,"startLine":8,"startColumn":1,"endLine":8,"endColumn":2,"hidden":false}]},
    {"token":"0x06000004","name":null,"error":"End of \\xe9"},
    {"token":"0x06000005","name":null,"points":[{"offset":0,"document":3,"startLine":16707566,"startColumn":0,"endLine":16707566,"endColumn":0,"hidden":true}]}
  ],
  "documents": [
    {"id":1,"name":"/src/)"
              "\u00dc"
              R"(berg.cs","hashAlgorithm":"SHA-1","hash":"dbeb2a"},
    {"id":3,"name":"C:\\b\u001b.cs","hashAlgorithm":null,"hash":null},
    {"id":12,"error":"Too large table index"}
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
    for (const auto& [data, line] : cases) {
        kept_output out;
        json_presenter shown(command::dump, sample_module, out);
        shown.begin_methods();
        shown.documents({});
        shown.source_server(data);
        shown.end();
        EXPECT_EQ(out.text, "{\n  \"methods\": [],\n  \"documents\": [],\n  " + std::string(line) + "\n}\n");
    }
}

TEST(TableOutput, Dump) {
    EXPECT_EQ(sample_text<table_presenter>(),
              "orders.dll  MVID ff1816ec-aa5e-4d10-87f7-6f4963833460\n"
              "7 methods\n"
              "\n"
              "0x06000001\n"
              "    [1] /src/\u00dcberg.cs\n"
              "    IL_0000   9:5 -  9:6\n"
              "    IL_0001  10:9 - 12:102\n"
              "    IL_012c  hidden\n"
              "\n"
              "0x06000002\n"
              "    several documents\n"
              "    IL_0000   7:1 - 7:2  [1] /src/\u00dcberg.cs\n"
              "    IL_12345  hidden     [3] C:\\b\\x1b.cs\n"
              "    IL_12346  8:1 - 8:2  [12]\n"
              "\n"
              "0x06000005\n"
              "    [3] C:\\b\\x1b.cs\n"
              "    IL_0000  hidden\n"
              "\n"
              " [1] /src/\u00dcberg.cs\n"
              "     SHA-1 dbeb2a\n"
              " [3] C:\\b\\x1b.cs\n"
              "     no checksum\n"
              "\n"
              "3 methods with sequence points; 7 points in 3 documents; 6 bytes of source server data\n");
}

TEST(TableOutput, NamesOfMethodsAndLongNamesOfDocuments) {
    const module_info module = read_module_file(qv::testing::fixture("Documents.dll"));
    const std::string name(100, 'd');
    document_map documents = {{1, {{std::wstring(100, L'd'), {}, {}}, {}, {}, {}}}, {2, {{L"b", {}, {}}, {}, {}, {}}}};
    const auto shown = [&](command what, const method_symbols& method) {
        kept_output out;
        table_presenter table(what, module, out);
        if (!method.points.empty()) table.method(method, documents);
        table.documents(documents);
        return out.text;
    };
    EXPECT_EQ(shown(command::method, {0x06000003, {{0, {1, 1, 1, 1, 2}}}, {}}),
              "0x06000003  Documents.First(0)\n    [1] ..." + name.substr(11) + "\n    IL_0000  1:1 - 1:2\n");
    EXPECT_EQ(shown(command::method, {6, {{0, {1, 1, 1, 1, 2}}, {1, {2, 1, 1, 1, 2}}}, {}}),
              "0x00000006\n    several documents\n    IL_0000  1:1 - 1:2  [1] ..." + name.substr(31) +
                  "\n    IL_0001  1:1 - 1:2  [2] b\n");
    documents.erase(2);
    documents[1].methods = {0x06000003, 0x06000004};
    EXPECT_EQ(shown(command::documents, {}), "[1] " + name +
                                                 "\n    no checksum\n    0x06000003  Documents.First(0)\n"
                                                 "    0x06000004  Documents.Elsewhere(0)\n");
    documents.clear();
    EXPECT_EQ(shown(command::documents, {}), "no documents\n");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
