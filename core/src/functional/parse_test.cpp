#include "quorvex/common/functional/parse.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"

namespace {

using namespace quorvex::common;
using qv::test::message_of;

using version = qv::version3<unsigned short>;

version parse(const std::wstring& text) {
    return parse_version3<unsigned short, 3, 3>(text);
}

TEST(ParseInteger, AcceptsWhatWcstoulAccepts) {
    const struct {
        const wchar_t* text;
        int base;
        unsigned value;
    } cases[] = {{L"0", 10, 0},   {L"65535", 10, 65535},   {L" \t+12", 10, 12}, {L"0x1F", 16, 0x1F},
                 {L"017", 0, 15}, {L"-4294967295", 10, 1}, {L"-0", 10, 0}};
    for (const auto& [text, base, value] : cases) EXPECT_EQ(parse_integer<unsigned short>(text, base), value);
}

TEST(ParseInteger, NamesTheFault) {
    const struct {
        std::wstring text;
        const char* message;
    } cases[] = {
        {L"", "invalid stoul argument"},
        {L"x1", "invalid stoul argument"},
        {L" -", "invalid stoul argument"},
        {L"1x", "Failed to parse value"},
        {L"1 ", "Failed to parse value"},
        {std::wstring(L"1\0", 2), "Failed to parse value"},
        {L"65536", "Too large value"},
        {L"-1", "Too large value"},
        {L"4294967295", "Too large value"},
        {L"4294967296", "stoul argument out of range"},
        {L"99999999999999999999999", "stoul argument out of range"},
        {L"4294967296x", "stoul argument out of range"},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EQ(message_of([&, text = text] { parse_integer<unsigned short>(text, 10); }), message);
    EXPECT_EQ(message_of([] { parse_integer<unsigned short>(L"1", 1); }), "invalid stoul argument");
    try {
        parse(L"4.0.1x");
        FAIL();
    } catch (const qv::exception& error) {
        EXPECT_EQ(*error.find<qv::errtag_source_w>(), L"1x");
    }
}

TEST(ParseVersion3, ThreeComponentsNoLessNoMore) {
    EXPECT_EQ(parse(L"4.0.30319"), (version{4, 0, 30319}));
    const struct {
        const wchar_t* text;
        const char* message;
    } cases[] = {
        {L"4.0", "Too less version components"},   {L"...", "Too many version components"},
        {L"4.0.65536", "Too large value"},         {L"4.0.", "invalid stoul argument"},
        {L"65536.1x.y", "invalid stoul argument"},  // the last bad part decides
        {L"65536.1x.1", "Failed to parse value"},
    };
    for (const auto& [text, message] : cases) EXPECT_EQ(message_of([&, text = text] { parse(text); }), message) << text;
}

}  // namespace
