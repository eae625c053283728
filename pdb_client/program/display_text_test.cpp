#include "pdb_client/program/display_text.h"

#include <gtest/gtest.h>

namespace qv::profiler::pdb_client {
namespace {

struct text_case {
    const char* name;
    std::wstring text;
    const char* shown;
};

class Printable : public testing::TestWithParam<text_case> {};

TEST_P(Printable, Wide) {
    EXPECT_EQ(printable(std::wstring_view(GetParam().text)), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(DisplayText, Printable,
                         testing::Values(text_case{"Path", L"C:\\src\\a.cs", "C:\\src\\a.cs"},
                                         text_case{"NonAscii", L"\u00dcberg\u4e2d.cs",
                                                   "\xc3\x9c"
                                                   "berg\xe4\xb8\xad.cs"},
                                         text_case{"SurrogatePair", L"\xD83D\xDE00", "\xf0\x9f\x98\x80"},
                                         text_case{"LoneSurrogates", L"\xDE00\xD83Dx\xD83D", "\\ude00\\ud83dx\\ud83d"},
                                         text_case{"TerminalSequence", L"a\x1b[2J\r\n", "a\\x1b[2J\\x0d\\x0a"},
                                         text_case{"C1Controls", L"\x7f\x9b", "\\x7f\\x9b"},
                                         text_case{"WritingDirection", L"a\x202esc.exe", "a\\u202esc.exe"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(DisplayText, BytesThatAreNoUtf8AreShownAsNumbers) {
    EXPECT_EQ(printable(std::string_view("caf\xc3\xa9")), "caf\xc3\xa9");
    EXPECT_EQ(printable(std::string_view("caf\xe9\x07")), "caf\\xe9\\x07");
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(DisplayText, LinesKeepTheirEndsAndNothingElse) {
    EXPECT_EQ(printable_lines("{\r\n\t\"a\"\x1b\n}\r"), "{\n\t\"a\"\\x1b\n}\\x0d");
}

TEST(DisplayText, Utf8IsStrict) {
    for (const std::string_view good : {"", "a", "\xc3\xa9", "\xf0\x9f\x98\x80"}) EXPECT_TRUE(is_utf8(good)) << good;
    for (const std::string_view bad : {"\xc1\x81", "\xe9", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc3"})
        EXPECT_FALSE(is_utf8(bad)) << bad;
    EXPECT_FALSE(is_utf8(std::string_view("a\0", 2)));
}

TEST(DisplayText, TailIsCountedInCharacters) {
    EXPECT_EQ(keep_tail("\xc3\xa4\xc3\xb6\xc3\xbc", 3), "\xc3\xa4\xc3\xb6\xc3\xbc");
    EXPECT_EQ(keep_tail("\xc3\xa4\xc3\xb6\xc3\xbc"
                        "abc",
                        5),
              "...bc");
    EXPECT_EQ(keep_tail("aa\xc3\xa4\xc3\xb6\xc3\xbc", 4), "...\xc3\xbc");
    EXPECT_EQ(keep_tail("abcdef", 0), "...");
}

TEST(DisplayText, AlgorithmsByName) {
    EXPECT_EQ(algorithm_name({0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}}), "SHA-1");
    EXPECT_EQ(algorithm_name({0x8829d00f, 0x11b8, 0x4213, {0x87, 0x8b, 0x77, 0x0e, 0x85, 0x97, 0xac, 0x16}}),
              "SHA-256");
    EXPECT_EQ(algorithm_name({0x406ea660, 0x64cf, 0x4c82, {0xb6, 0xf0, 0x42, 0xd4, 0x81, 0x72, 0xa7, 0x99}}), "MD5");
    EXPECT_EQ(algorithm_name({1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}), "00000001-0002-0003-0405-060708090a0b");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
