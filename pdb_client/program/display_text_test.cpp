#include "pdb_client/program/display_text.h"

#include <gtest/gtest.h>

namespace qv::profiler::pdb_client {
namespace {

TEST(DisplayText, WhatTerminalsObeyIsShownAsNumbers) {
    const std::pair<std::wstring, const char*> cases[] = {
        {L"C:\\\u00dc\u4e2d.cs", "C:\\\xc3\x9c\xe4\xb8\xad.cs"},
        {L"\xD800\xDC00\xDBFF\xDFFF", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {L"\xDC00\xDC01\xD800x\xDBFF\xD800\xDC00\xDFFF\xD800\xE000\xD800",
         "\\udc00\\udc01\\ud800x\\udbff\xf0\x90\x80\x80\\udfff\\ud800\xee\x80\x80\\ud800"},
        {L"a\x1b[2J\r\n\x1f\x20\x7e\x7f\x80\x9f\xa0", "a\\x1b[2J\\x0d\\x0a\\x1f ~\\x7f\\x80\\x9f\xc2\xa0"},
        {L"\x61b\x61c\x61d", "\xd8\x9b\\u061c\xd8\x9d"},
        {L"\x200d\x200e\x200f\x2010", "\xe2\x80\x8d\\u200e\\u200f\xe2\x80\x90"},
        {L"\x2027\x2028\x202e\x202f", "\xe2\x80\xa7\\u2028\\u202e\xe2\x80\xaf"},
        {L"\x2065\x2066\x2069\x206a", "\xe2\x81\xa5\\u2066\\u2069\xe2\x81\xaa"},
        {L"\xfefe\xfeff", "\xef\xbb\xbe\\ufeff"}};
    for (const auto& [text, shown] : cases) EXPECT_EQ(printable(std::wstring_view(text)), shown);
}

TEST(DisplayText, BytesThatAreNoUtf8AreShownAsNumbers) {
    for (const std::string_view good : {"", "\xc3\xa9", "\xf0\x9f\x98\x80"}) EXPECT_EQ(printable(good), good);
    EXPECT_EQ(printable(std::string_view("caf\xe9\x07")), "caf\\xe9\\x07");
    EXPECT_EQ(printable(std::string_view("a\0", 2)), "a\\x00");
    for (const std::string_view bad : {"\xc1\x81", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc3"})
        EXPECT_FALSE(is_utf8(bad)) << bad;
}

TEST(DisplayText, LinesKeepTheirEndsAndNothingElse) {
    EXPECT_EQ(printable_lines("{\r\n\t\"a\"\x1b\n}\r"), "{\n\t\"a\"\\x1b\n}\\x0d");
}

TEST(DisplayText, TailIsCountedInCharacters) {
    const std::string word = "aa\xc3\xa4\xc3\xb6\xc3\xbc";
    EXPECT_EQ(keep_tail(word, 5), word);
    EXPECT_EQ(keep_tail(word, 4), "...\xc3\xbc");
    EXPECT_EQ(keep_tail(word, 0), "...");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
