#include "text/utf.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "text/display.h"

namespace {

using namespace qv::text;
using qv::test::message_of;

TEST(Utf8ToUtf16, DecodesOrNamesTheFault) {
    constexpr const char* lead = "Unexpected UTF8 slave symbol at master position";
    constexpr const char* continuation = "Invalid UTF8 slave symbol";
    constexpr const char* surrogate = "Surrogate code point detected";
    constexpr const char* range = "Unsupported UTF16 code point";
    const struct {
        const char* utf8;
        std::wstring units;
        std::string fault = {};
    } cases[] = {
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF", {0x7F, 0x80, 0x7FF, 0x800, 0xD7FF}},
        {"\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80", {0xE000, 0xFFFF, 0xD800, 0xDC00}},
        {"\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", {0xD83D, 0xDE00, 0xDBFF, 0xDFFF}},
        {"\xC1\x81\xFC\x80\x80\x80\x81\x81", L"AA"},  // overlong forms are accepted
        {"ab\x80", L"ab", lead},                      // what precedes the fault stays
        {"\xBF", L"", lead},                          //
        {"\xFE", L"", "Invalid UTF8 master symbol"},  //
        {"\xFF", L"", "Invalid UTF8 master symbol"},  //
        {"\xC3", L"", continuation},                  // the terminator is no continuation byte
        {"\xE2\x82\xC0", L"", continuation},          //
        {"\xE2\x7F\x80", L"", continuation},          //
        {"x\xED\xA0\x80", L"x", surrogate},           // D800
        {"\xED\xBF\xBF", L"", surrogate},             // DFFF
        {"\xF4\x90\x80\x80", L"", range},             // 110000
        {"\xF8\x88\x80\x80\x80", L"", range},         // 200000
        {"\xFD\xBF\xBF\xBF\xBF\xBF", L"", range},     // 7FFFFFFF
    };
    for (const auto& [utf8, expected, fault] : cases) {
        std::wstring actual;
        EXPECT_EQ(message_of([&, bytes = utf8] { utf8_to_utf16(bytes, actual); }), fault) << utf8;
        EXPECT_EQ(actual, expected) << utf8;
    }
}

TEST(Utf, TerminatedFormsReturnThePositionAfterTheTerminator) {
    const char utf8[] = "ab\0cd\xC0\x80z";  // an overlong NUL terminates too
    std::wstring wide = L">";
    EXPECT_EQ(utf8_to_utf16(utf8, wide), utf8 + 3);
    EXPECT_EQ(utf8_to_utf16(utf8 + 3, wide), utf8 + 7);
    EXPECT_EQ(wide, L">abcd");
    const wchar_t utf16[] = L"a\0b";
    std::string narrow = to_utf8({utf16, 3});
    EXPECT_EQ(utf16_to_utf8(utf16, narrow), utf16 + 2);
    EXPECT_EQ(narrow, std::string("a\0ba", 4));
}

TEST(CodePointToUtf8, ChoosesTheFormByRange) {
    std::string out;
    for (const std::uint32_t code_point : {0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xFFFFu, 0x10000u, 0x1FFFFFu, 0x200000u,
                                           0x3FFFFFFu, 0x4000000u, 0x7FFFFFFFu, 0xD800u})  // surrogates pass as well
        code_point_to_utf8(code_point, out.append(" "));
    EXPECT_EQ(out,
              " \x7F \xC2\x80 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBF \xF0\x90\x80\x80 \xF7\xBF\xBF\xBF "
              "\xF8\x88\x80\x80\x80 \xFB\xBF\xBF\xBF\xBF \xFC\x84\x80\x80\x80\x80 \xFD\xBF\xBF\xBF\xBF\xBF "
              "\xED\xA0\x80");
    EXPECT_EQ(message_of([&] { code_point_to_utf8(0x80000000, out); }), "Unsupported UTF8 code point");
}

// The strict forms name a fault; text for display never fails and never breaks a line.
TEST(Utf16ToUtf8, EncodesOrNamesTheFaultOrReplacesIt) {
    const std::string low = "Unexpected UTF16 slave symbol at master position";
    const std::string high = "Invalid UTF16 slave symbol";
    const std::string bad = "\xEF\xBF\xBD";
    const struct {
        std::wstring utf16;
        std::string utf8, displayed, counted_fault = {}, terminated_fault = {};
    } cases[] = {
        {L"\r\n\t\x1F \x7F\x416", "\r\n\t\x1F \x7F\xD0\x96", "\x7F\x7F\t\x7F \x7F\xD0\x96"},
        {{0x7FF, 0xD7FF, 0xE000, 0xFFFF},
         "\xDF\xBF\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
         "\xDF\xBF\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        {{0xD83D, 0xDE00, 0xDBFF, 0xDFFF}, "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
        {{'a', 0xDC00, 0xDC00, 'b'}, "a", "a" + bad + bad + "b", low, low},
        {{0xDFFF}, "", bad, low, low},
        {{0xD800, 'A'}, "", bad + "A", high, high},
        {{0xD800, 0xE000}, "", bad + "\xEE\x80\x80", high, high},
        {{0xD800, 0xD801, 0xDC00}, "", bad + "\xF0\x90\x90\x80", high, high},
        {{'a', 0xD800}, "a", "a" + bad, "Not enough input", high},
    };
    for (const auto& c : cases) {
        std::string counted, terminated;
        const wchar_t* const begin = c.utf16.c_str();
        EXPECT_EQ(message_of([&] { utf16_to_utf8(begin, begin + c.utf16.size(), counted); }), c.counted_fault);
        EXPECT_EQ(message_of([&] { utf16_to_utf8(begin, terminated); }), c.terminated_fault);
        EXPECT_EQ(counted, c.utf8);
        EXPECT_EQ(terminated, c.utf8);
        EXPECT_EQ(display_utf8(c.utf16), c.displayed);
    }
    EXPECT_EQ(display_utf8({L"\0", 1}), "\x7F");
}

}  // namespace
