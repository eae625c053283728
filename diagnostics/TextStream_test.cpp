#include "qv/diagnostics/TextStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using profiler::stream::TextSink;
using profiler::stream::TextStream;
using test::failure;
using test::failure_of;

class recording_sink final : public TextSink {
public:
    void write(const char* bytes, std::size_t count) override { calls.emplace_back(bytes, count); }
    std::string all() const {
        std::string text;
        for (const auto& call : calls) text += call;
        return text;
    }
    std::vector<std::string> calls;
};

template <class Action>
std::string written(Action&& action, std::uint64_t indentation = 1) {
    recording_sink sink;
    TextStream out(sink, indentation);
    action(out);
    return sink.all();
}

TEST(TextStream, ControlsBecomeDelAndRunsAreOneCallEach) {
    recording_sink sink;
    TextStream out(sink);
    out.text(
        "\x01"
        "ab\r\n"
        "c\td\x1F\x80\xFF");
    EXPECT_THAT(sink.calls, testing::ElementsAre("\x7F", "ab", "\x7F", "\x7F", "c\td", "\x7F", "\x80\xFF"));
}

TEST(TextStream, EmptyTextWritesNothing) {
    recording_sink sink;
    TextStream out(sink);
    out.text("").key("a");
    EXPECT_EQ(sink.all(), "a=");  // no blank: the line had not begun
    EXPECT_EQ(written([](auto& o) { o.text(nullptr); }), "<nullptr>");
}

TEST(TextStream, KeysAreSeparatedByOneBlank) {
    EXPECT_EQ(written([](auto& o) { o.key("a").text("1").key("b").key(nullptr).text("2"); }), "a=1 b= =2");
    EXPECT_EQ(written([](auto& o) { o.character('x').key("a").new_line().key("b").end_line().key("c"); }),
              "x a=\r\n\tb=\r\nc=");
}

TEST(TextStream, NewLineIndentsBySixteenTabsAtMost) {
    for (const auto& [level, tabs] :
         {std::pair<std::uint64_t, std::size_t>{0, 0}, {1, 1}, {16, 16}, {17, 16}, {UINT64_MAX, 16}}) {
        EXPECT_EQ(written([](auto& o) { o.new_line(); }, level), "\r\n" + std::string(tabs, '\t')) << level;
        EXPECT_EQ(written([](auto& o) { o.end_line(); }, level), "\r\n");
    }
}

TEST(TextStream, QuotedValuesCannotBreakTheLine) {
    EXPECT_EQ(written([](auto& o) { o.quoted(L"C:\\logs\\\x416.log"); }), "'C:\\logs\\\xD0\x96.log'");
    EXPECT_EQ(written([](auto& o) { o.quoted("it's"); }), "'it's'");
    EXPECT_EQ(written([](auto& o) { o.quoted(std::string_view("a\0\r\nb\t", 6)); }),
              "'a\x7F\x7F\x7F"
              "b\t'");
    EXPECT_EQ(written([](auto& o) { o.quoted(L"a\nb\t"); }),
              "'a\x7F"
              "b\t'");
    EXPECT_EQ(written([](auto& o) { o.quoted(""); }), "''");
}

// Long values are converted in pieces, wherever a character of two units lies.
TEST(TextStream, QuotedValuesAreConvertedStrictlyToTheEnd) {
    std::wstring utf16 = L"x";
    std::string utf8 = "x";
    for (int i = 0; i < 1000; ++i) {
        utf16.append({wchar_t(0xD83D), wchar_t(0xDE00)});
        utf8.append("\xF0\x9F\x98\x80");
    }
    EXPECT_EQ(written([&](auto& o) { o.quoted(utf16); }), "'" + utf8 + "'");
    EXPECT_EQ(written([&](auto& o) { o.quoted(utf16.substr(1)); }), "'" + utf8.substr(1) + "'");
    utf16.back() = L'y';  // leaves half a character before it
    utf8.resize(utf8.size() - 4);
    EXPECT_EQ(written([&](auto& o) { EXPECT_THROW(o.quoted(utf16), std::runtime_error); }), "'" + utf8);
}

TEST(TextStream, HexHasFixedWidth) {
    EXPECT_EQ(written([](auto& o) { o.Hex(static_cast<unsigned char>(0xA)); }), "0A");
    EXPECT_EQ(written([](auto& o) { o.Hex(static_cast<unsigned short>(0xABC)); }), "0ABC");
    EXPECT_EQ(written([](auto& o) { o.Hex(0xABCDEFu); }), "00ABCDEF");
    EXPECT_EQ(written([](auto& o) { o.Hex(0xFFFFFFFFul); }), "FFFFFFFF");
    EXPECT_EQ(written([](auto& o) { o.Hex(0x1A2Cul); }), "00001A2C");
    EXPECT_EQ(written([](auto& o) { o.Hex(0xABCull); }), "0000000000000ABC");
    EXPECT_EQ(written([](auto& o) { o.Hex(ULLONG_MAX); }), "FFFFFFFFFFFFFFFF");
}

TEST(TextStream, DecHasMinimumWidth) {
    EXPECT_EQ(written([](auto& o) { o.Dec(INT_MIN).Dec(4, 2).Dec(-1, 4).Dec(100, 2); }), "-2147483648 4  -1100");
    EXPECT_EQ(written([](auto& o) { o.Dec(static_cast<unsigned char>(255), 4); }), " 255");
    EXPECT_EQ(written([](auto& o) { o.Dec(static_cast<unsigned short>(65535)); }), "65535");
    EXPECT_EQ(written([](auto& o) { o.Dec(UINT_MAX); }), "4294967295");
    EXPECT_EQ(written([](auto& o) { o.Dec(ULONG_MAX); }), std::to_string(ULONG_MAX));
    EXPECT_EQ(written([](auto& o) { o.Dec(ULLONG_MAX); }), "18446744073709551615");
}

TEST(TextStream, WidthBeyondTheBufferIsTheOperationsFailure) {
    recording_sink sink;
    TextStream out(sink);
    const auto expected = [](const char* message, const std::string& operation) {
        return failure{message,
                       "class qv::profiler::stream::TextStream &__cdecl qv::profiler::stream::BaseTextStream<class "
                       "qv::profiler::stream::TextStream>::" +
                           operation,
                       "core/src/stream/BaseTextStream",
                       {}};
    };
    EXPECT_EQ(failure_of([&] { out.Dec(1, 12); }), expected("Failed to log dec int", "Dec(const int,const int)"));
    EXPECT_EQ(failure_of([&] { out.Dec(static_cast<unsigned char>(1), 6); }),
              expected("Failed to log dec unsigned char", "Dec(const unsigned char,const int)"));
    EXPECT_EQ(failure_of([&] { out.Dec(static_cast<unsigned short>(1), 6); }),
              expected("Failed to log dec unsigned short int", "Dec(const unsigned short,const int)"));
    EXPECT_EQ(failure_of([&] { out.Dec(1u, 11); }),
              expected("Failed to log dec unsigned int", "Dec(const unsigned int,const int)"));
    EXPECT_EQ(failure_of([&] { out.Dec(1ul, 99); }),
              expected("Failed to log dec unsigned long int", "Dec(const unsigned long,const int)"));
    EXPECT_EQ(failure_of([&] { out.Dec(1ull, 1000); }),
              expected("Failed to log dec unsigned long long int", "Dec(const unsigned __int64,const int)"));
    EXPECT_EQ(sink.all(), "");
}

TEST(TextStream, GuidInRegistryForm) {
    EXPECT_EQ(written([](auto& o) { o.key("mvid").guid(GUID{}); }), "mvid={00000000-0000-0000-0000-000000000000}");
}

}  // namespace
