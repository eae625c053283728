#include "qv/text/display.h"

#include <gtest/gtest.h>

namespace {

TEST(DisplayText, NeverFailsAndNeverBreaksALine) {
    const std::string bad = "\xEF\xBF\xBD";
    const struct {
        std::wstring utf16;
        std::string expected;
    } cases[] = {
        {std::wstring(1, L'\0') + L"\r\n\t\x1F \x7F\x416", "\x7F\x7F\x7F\t\x7F \x7F\xD0\x96"},
        {{wchar_t(0xD83D), wchar_t(0xDE00), wchar_t(0xDBFF), wchar_t(0xDFFF)}, "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
        {{wchar_t(0xD7FF), wchar_t(0xE000), wchar_t(0xFFFF)}, "\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        {{wchar_t(0xDC00), wchar_t(0xDC00), L'b', wchar_t(0xDFFF), wchar_t(0xD800)}, bad + bad + "b" + bad + bad},
        {{wchar_t(0xD800), wchar_t(0xD801), wchar_t(0xDC00)}, bad + "\xF0\x90\x90\x80"},
        {{wchar_t(0xD800), wchar_t(0xE000)}, bad + "\xEE\x80\x80"},
    };
    for (const auto& [utf16, expected] : cases) EXPECT_EQ(qv::text::display_utf8(utf16), expected);
}

}  // namespace
