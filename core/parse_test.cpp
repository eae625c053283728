#include "core/parse.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"

namespace {

using namespace quorvex::common;

// The value, or the fault.
std::string parsed(const std::wstring& text, int base = 10) {
    std::string value;
    const std::string fault =
        qv::test::message_of([&] { value = std::to_string(parse_integer<unsigned short>(text, base)); });
    return value + fault;
}

TEST(ParseInteger, TakesWhatWcstoulTakes) {
    EXPECT_EQ(parsed(L"65535"), "65535");
    EXPECT_EQ(parsed(L" \t+12"), "12");
    EXPECT_EQ(parsed(L"0x1F", 16), "31");
    EXPECT_EQ(parsed(L"017", 0), "15");
    EXPECT_EQ(parsed(L"-4294967295"), "1");
    for (const std::wstring text : {L"", L"x1", L" -"}) EXPECT_EQ(parsed(text), "invalid stoul argument");
    for (const auto& text : {std::wstring(L"1x"), std::wstring(L"1\0", 2)})
        EXPECT_EQ(parsed(text), "Failed to parse value");
    for (const std::wstring text : {L"65536", L"-1", L"4294967295"}) EXPECT_EQ(parsed(text), "Too large value");
    for (const std::wstring text : {L"4294967296", L"99999999999999999999999", L"4294967296x"})
        EXPECT_EQ(parsed(text), "stoul argument out of range");
    EXPECT_EQ(parsed(L"1", 1), "invalid stoul argument");
}

TEST(ParseVersion3, LastBadPartDecides) {
    const auto parse = parse_version3<unsigned short, 3, 3>;
    EXPECT_EQ(qv::test::message_of([&] { parse(L"..."); }), "Too many version components");
    EXPECT_EQ(qv::test::message_of([&] { parse(L"65536.1x.y"); }), "invalid stoul argument");
    EXPECT_EQ(qv::test::message_of([&] { parse(L"65536.1.1"); }), "Too large value");
    try {
        parse(L"65536.1x.1");
        FAIL();
    } catch (const qv::exception& error) {
        EXPECT_STREQ(error.what(), "Failed to parse value");
        EXPECT_EQ(*error.find<qv::errtag_source_w>(), L"1x");
    }
}

}  // namespace
