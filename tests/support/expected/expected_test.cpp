#include "tests/support/expected/expected.h"

#include <gmock/gmock.h>

#include "qv/text/utf.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {
namespace {

using ::testing::ElementsAre;

constexpr std::string_view sample = R"({"image":"A.dll","mvid":"00112233-4455-6677-8899-aabbccddeeff","methodDefs":3,
"format":"portable","embedded":false,"match":true,"sourceServerData":"{}","documents":[
{"row":1,"name":"/s/\u00e9.cs","hashAlgorithm":"SHA1","hash":"0aFF"},{"row":2,"name":"b","hashAlgorithm":null,"hash":null}],
"methods":[{"token":"0x06000002","points":[[0,1,2,3,4,5],[7,2,16707566,0,16707566,0]]}]})";

TEST(Expected, EveryFieldIsRead) {
    const auto module = parse_expected(sample, "folder");
    EXPECT_EQ(module.image, boost::filesystem::path("folder") / "A.dll");
    EXPECT_EQ(quorvex::common::to_string(module.mvid), "{00112233-4455-6677-8899-aabbccddeeff}");
    EXPECT_EQ(module.method_rows, 3u);
    EXPECT_EQ(module.format, "portable");
    EXPECT_FALSE(module.embedded);
    EXPECT_TRUE(module.match);
    EXPECT_THAT(module.source_server_data, ElementsAre('{', '}'));
    ASSERT_EQ(module.documents.size(), 2u);
    EXPECT_EQ(module.documents.at(1).name, text::to_utf16("/s/\xc3\xa9.cs"));
    EXPECT_EQ(quorvex::common::to_string(module.documents.at(1).algorithm), "{ff1816ec-aa5e-4d10-87f7-6f4963833460}");
    EXPECT_THAT(module.documents.at(1).hash, ElementsAre(0x0a, 0xff));
    EXPECT_TRUE(module.documents.at(2).hash.empty());
    EXPECT_THAT(module.methods.at(0x06000002),
                ElementsAre(expected_point{0, {1, 2, 3, 4, 5}}, expected_point{7, {2, 0xFEEFEE, 0, 0xFEEFEE, 0}}));
}

TEST(Expected, WhatDoesNotReadAsExpectedThrows) {
    const auto with = [](std::string_view from, std::string_view to) {
        std::string json(sample);
        return json.replace(json.find(from), from.size(), to);
    };
    for (const auto& json : {std::string(), with("\"mvid\"", "\"id\""), with("0aFF", "0aF"), with("0aFF", "0aFg"),
                             with("-aabbccddeeff", ""), with("[0,1,2,3,4,5]", "[0,1,2,3,4]"), with("[0,1,", "[0,-1,"),
                             with("SHA1", "CRC"), with("false", "null")})
        EXPECT_ANY_THROW(parse_expected(json, {})) << json;
}

TEST(Expected, FilesAreFoundByNameInAllFolders) {
    const temporary_directory directory;
    EXPECT_TRUE(find_expected(directory.path()).empty());
    for (const auto* file : {"B.expected.json", "expected.json", "unexpected.json", "B.dll", "x/y/A.expected.json"})
        directory.write(file, std::string(sample));
    const auto below = directory.path() / "x" / "y";
    EXPECT_THAT(find_expected(directory.path()),
                ElementsAre(directory.path() / "B.expected.json", directory.path() / "expected.json",
                            below / "A.expected.json"));
    EXPECT_EQ(load_expected(below / "A.expected.json").image, below / "A.dll");
}

}  // namespace
}  // namespace qv::testing
