#include "qv/text/utf.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace qv::text;

// The units appended before the conversion ended, and the fault that ended it (empty when there was none).
struct outcome {
    std::wstring units;
    std::string fault;
    bool operator==(const outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const outcome& value) {
    out << std::hex;
    for (const wchar_t unit : value.units) out << static_cast<unsigned>(unit) << ' ';
    return out << '"' << value.fault << '"';
}

std::wstring units(std::initializer_list<unsigned> values) {
    std::wstring result;
    for (const unsigned value : values) result.push_back(static_cast<wchar_t>(value));
    return result;
}

TEST(Utf8ToUtf16, DecodesOrNamesTheFault) {
    constexpr const char* lead = "Unexpected UTF8 slave symbol at master position";
    constexpr const char* continuation = "Invalid UTF8 slave symbol";
    constexpr const char* surrogate = "Surrogate code point detected";
    constexpr const char* range = "Unsupported UTF16 code point";
    const struct {
        const char* utf8;
        outcome expected;
    } cases[] = {
        {"", {L"", ""}},
        {"\x7F", {units({0x7F}), ""}},
        {"\xC2\x80", {units({0x80}), ""}},
        {"\xDF\xBF", {units({0x7FF}), ""}},
        {"\xE0\xA0\x80", {units({0x800}), ""}},
        {"\xED\x9F\xBF", {units({0xD7FF}), ""}},
        {"\xEE\x80\x80", {units({0xE000}), ""}},
        {"\xEF\xBF\xBF", {units({0xFFFF}), ""}},
        {"\xF0\x90\x80\x80", {units({0xD800, 0xDC00}), ""}},
        {"\xF0\x9F\x98\x80", {units({0xD83D, 0xDE00}), ""}},
        {"\xF4\x8F\xBF\xBF", {units({0xDBFF, 0xDFFF}), ""}},
        {"\xC1\x81", {units({0x41}), ""}},                  // overlong forms are accepted
        {"\xFC\x80\x80\x80\x81\x81", {units({0x41}), ""}},  //
        {"a\xC0\x80z", {units({'a'}), ""}},                 // and an overlong NUL ends the string
        {"ab\x80", {units({'a', 'b'}), lead}},              //
        {"\xBF", {L"", lead}},                              //
        {"\xFE", {L"", "Invalid UTF8 master symbol"}},      //
        {"\xFF", {L"", "Invalid UTF8 master symbol"}},      //
        {"\xC3", {L"", continuation}},                      // the terminator is no continuation byte
        {"\xF0\x9F\x98", {L"", continuation}},              //
        {"\xE2\x82\xC0", {L"", continuation}},              //
        {"\xE2\x7F\x80", {L"", continuation}},              //
        {"x\xED\xA0\x80", {units({'x'}), surrogate}},       // D800
        {"\xED\xBF\xBF", {L"", surrogate}},                 // DFFF
        {"\xF4\x90\x80\x80", {L"", range}},                 // 110000
        {"\xF8\x88\x80\x80\x80", {L"", range}},             //
        {"\xFD\xBF\xBF\xBF\xBF\xBF", {L"", range}},         // 7FFFFFFF
    };
    for (const auto& [utf8, expected] : cases) {
        outcome actual;
        try {
            utf8_to_utf16(utf8, actual.units);
        } catch (const std::runtime_error& error) {
            actual.fault = error.what();
        }
        EXPECT_EQ(actual, expected);
    }
}

TEST(Utf8ToUtf16, AppendsAndReturnsThePositionAfterTheTerminator) {
    const char two[] = "ab\0cd";
    std::wstring out = L">";
    const char* next = utf8_to_utf16(two, out);
    EXPECT_EQ(next, two + 3);
    EXPECT_EQ(utf8_to_utf16(next, out), two + 6);
    EXPECT_EQ(out, L">abcd");
    const char overlong[] = "\xC0\x80z";
    EXPECT_EQ(utf8_to_utf16(overlong, out), overlong + 2);
}

TEST(CodePointToUtf8, ChoosesTheFormByRange) {
    const struct {
        std::uint32_t code_point;
        std::string utf8;
    } cases[] = {
        {0, std::string(1, '\0')},
        {0x7F, "\x7F"},
        {0x80, "\xC2\x80"},
        {0x7FF, "\xDF\xBF"},
        {0x800, "\xE0\xA0\x80"},
        {0xD800, "\xED\xA0\x80"},  // surrogates are not rejected here
        {0xFFFF, "\xEF\xBF\xBF"},
        {0x10000, "\xF0\x90\x80\x80"},
        {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
        {0x200000, "\xF8\x88\x80\x80\x80"},
        {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"},
        {0x4000000, "\xFC\x84\x80\x80\x80\x80"},
        {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"},
    };
    for (const auto& [code_point, utf8] : cases) {
        std::string out;
        code_point_to_utf8(code_point, out);
        EXPECT_EQ(out, utf8) << std::hex << code_point;
    }
    std::string out = "kept";
    EXPECT_THROW(
        try { code_point_to_utf8(0x80000000, out); } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "Unsupported UTF8 code point");
            throw;
        },
        std::runtime_error);
    EXPECT_EQ(out, "kept");
}

struct utf16_case {
    std::wstring utf16;
    std::string utf8;
    std::string counted_fault;
    std::string terminated_fault;
};

const utf16_case utf16_cases[] = {
    {L"", "", "", ""},
    {units({0x41, 0x7FF, 0xFFFF}), "A\xDF\xBF\xEF\xBF\xBF", "", ""},
    {units({0xD83D, 0xDE00}), "\xF0\x9F\x98\x80", "", ""},
    {units({0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF", "", ""},
    {units({'a', 0xDC00}), "a", "Unexpected UTF16 slave symbol at master position",
     "Unexpected UTF16 slave symbol at master position"},
    {units({0xD800, 0x41}), "", "Invalid UTF16 slave symbol", "Invalid UTF16 slave symbol"},
    {units({0xD800, 0xD800}), "", "Invalid UTF16 slave symbol", "Invalid UTF16 slave symbol"},
    {units({'a', 0xD800}), "a", "Not enough input", "Invalid UTF16 slave symbol"},
};

TEST(Utf16ToUtf8, EncodesOrNamesTheFault) {
    for (const auto& c : utf16_cases) {
        std::string counted;
        std::string counted_fault;
        try {
            utf16_to_utf8(c.utf16.data(), c.utf16.data() + c.utf16.size(), counted);
        } catch (const std::runtime_error& error) {
            counted_fault = error.what();
        }
        std::string terminated;
        std::string terminated_fault;
        try {
            utf16_to_utf8(c.utf16.c_str(), terminated);
        } catch (const std::runtime_error& error) {
            terminated_fault = error.what();
        }
        EXPECT_EQ(counted, c.utf8);
        EXPECT_EQ(counted_fault, c.counted_fault);
        EXPECT_EQ(terminated, c.utf8);
        EXPECT_EQ(terminated_fault, c.terminated_fault);
    }
}

TEST(Utf16ToUtf8, CountedKeepsNulWhereTerminatedStops) {
    const wchar_t text[] = L"a\0b";
    std::string counted;
    utf16_to_utf8(text, text + 3, counted);
    EXPECT_EQ(counted, std::string("a\0b", 3));
    std::string terminated;
    EXPECT_EQ(utf16_to_utf8(text, terminated), text + 2);
    EXPECT_EQ(terminated, "a");
}

}  // namespace
