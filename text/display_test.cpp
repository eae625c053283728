#include "qv/text/display.h"

#include <gtest/gtest.h>

namespace {

using qv::text::display_utf8;

TEST(DisplayText, NeverFailsAndNeverBreaksALine) {
    const struct {
        std::wstring utf16;
        std::string expected;
    } cases[] = {
        {L"", ""},
        {L"C:\\a b\\\x416.pdb", "C:\\a b\\\xD0\x96.pdb"},
        {{wchar_t(0xD83D), wchar_t(0xDE00)}, "\xF0\x9F\x98\x80"},
        {{L'a', wchar_t(0xD800)}, "a\xEF\xBF\xBD"},
        {{wchar_t(0xDC00), L'b'},
         "\xEF\xBF\xBD"
         "b"},
        {{wchar_t(0xD800), wchar_t(0xD801), wchar_t(0xDC00)}, "\xEF\xBF\xBD\xF0\x90\x90\x80"},
        {{L'\0', L'\r', L'\n', L'\t', wchar_t(0x1F), L' '}, "\x7F\x7F\x7F\t\x7F "},
    };
    for (const auto& [utf16, expected] : cases) EXPECT_EQ(display_utf8(utf16), expected);
}

}  // namespace
