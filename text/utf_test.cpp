#include "qv/text/utf.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace qv::text;

std::wstring units(std::initializer_list<unsigned> values) {
    std::wstring result;
    for (const unsigned value : values) result.push_back(static_cast<wchar_t>(value));
    return result;
}

// The fault that ends the conversion; empty when there is none.
template <class Convert>
std::string fault_of(Convert&& convert) {
    try {
        convert();
        return {};
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

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
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF", units({0x7F, 0x80, 0x7FF, 0x800, 0xD7FF})},
        {"\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80", units({0xE000, 0xFFFF, 0xD800, 0xDC00})},
        {"\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", units({0xD83D, 0xDE00, 0xDBFF, 0xDFFF})},
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
        {"\xF5\x80\x80\x80", L"", range},             // 140000
        {"\xF8\x88\x80\x80\x80", L"", range},         // 200000
        {"\xFD\xBF\xBF\xBF\xBF\xBF", L"", range},     // 7FFFFFFF
    };
    for (const auto& [utf8, expected, fault] : cases) {
        std::wstring actual;
        EXPECT_EQ(fault_of([&, bytes = utf8] { utf8_to_utf16(bytes, actual); }), fault) << utf8;
        EXPECT_EQ(actual, expected) << utf8;
    }
}

TEST(Utf8ToUtf16, AppendsAndReturnsThePositionAfterTheTerminator) {
    const char text[] = "ab\0cd\xC0\x80z";  // an overlong NUL terminates too
    std::wstring out = L">";
    EXPECT_EQ(utf8_to_utf16(text, out), text + 3);
    EXPECT_EQ(utf8_to_utf16(text + 3, out), text + 7);
    EXPECT_EQ(out, L">abcd");
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
    EXPECT_EQ(fault_of([&] { code_point_to_utf8(0x80000000, out); }), "Unsupported UTF8 code point");
}

TEST(Utf16ToUtf8, EncodesOrNamesTheFault) {
    const char* const low = "Unexpected UTF16 slave symbol at master position";
    const char* const high = "Invalid UTF16 slave symbol";
    const struct {
        std::wstring utf16;
        std::string utf8, counted_fault = {}, terminated_fault = {};
    } cases[] = {
        {L"", ""},
        {units({0x41, 0x7FF, 0xD7FF, 0xE000}), "A\xDF\xBF\xED\x9F\xBF\xEE\x80\x80"},
        {units({0xD83D, 0xDE00, 0xDBFF, 0xDFFF}), "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
        {units({'a', 0xDC00}), "a", low, low},
        {units({0xDFFF}), "", low, low},
        {units({0xD800, 0x41}), "", high, high},
        {units({0xD800, 0xD800}), "", high, high},
        {units({'a', 0xD800}), "a", "Not enough input", high},
    };
    for (const auto& c : cases) {
        std::string counted, terminated;
        const wchar_t* const begin = c.utf16.c_str();
        EXPECT_EQ(fault_of([&] { utf16_to_utf8(begin, begin + c.utf16.size(), counted); }), c.counted_fault);
        EXPECT_EQ(fault_of([&] { utf16_to_utf8(begin, terminated); }), c.terminated_fault);
        EXPECT_EQ(counted, c.utf8);
        EXPECT_EQ(terminated, c.utf8);
    }
}

TEST(Utf16ToUtf8, CountedKeepsNulWhereTerminatedStops) {
    const wchar_t text[] = L"a\0b";
    EXPECT_EQ(to_utf8({text, 3}), std::string("a\0b", 3));
    std::string terminated;
    EXPECT_EQ(utf16_to_utf8(text, terminated), text + 2);
    EXPECT_EQ(terminated, "a");
}

}  // namespace
