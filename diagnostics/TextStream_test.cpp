#include "diagnostics/TextStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <numeric>
#include <vector>

#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using profiler::stream::TextSink;
using profiler::stream::TextStream;

// Keeps each call as its own text.
class recording_sink final : public TextSink {
public:
    void write(const char* bytes, std::size_t count) override { calls.emplace_back(bytes, count); }
    std::vector<std::string> calls;
};

template <class Action>
std::string written(Action&& action, std::uint64_t indentation = 1) {
    recording_sink sink;
    TextStream out(sink, indentation);
    action(out);
    return std::accumulate(sink.calls.begin(), sink.calls.end(), std::string());
}

TEST(TextStream, ControlsBecomeDelAndRunsAreOneCallEach) {
    recording_sink sink;
    TextStream out(sink);
    out.text("\1ab\r\nc\td\x1F\x80\xFF").text("").text(nullptr);
    EXPECT_THAT(sink.calls,
                testing::ElementsAre("\x7F", "ab", "\x7F", "\x7F", "c\td", "\x7F", "\x80\xFF", "<nullptr>"));
    EXPECT_EQ(written([](auto& o) { o.quoted(L"\x416:\r\n").quoted("it's").quoted(std::string_view("\0\r\t", 3)); }),
              "'\xD0\x96:\x7F\x7F''it's''\x7F\x7F\t'");
}

TEST(TextStream, KeysAreSeparatedByOneBlank) {
    EXPECT_EQ(written([](auto& o) { o.text("").key("a").text("1").key("b").key(nullptr).text("2"); }), "a=1 b= =2");
    EXPECT_EQ(written([](auto& o) { o.character('x').key("a").new_line().key("b").end_line().key("c"); }),
              "x a=\r\n\tb=\r\nc=");
    EXPECT_EQ(written([](auto& o) { o.new_line(); }, UINT64_MAX), "\r\n" + std::string(16, '\t'));
}

// Long values are converted in pieces, wherever a character of two units lies.
TEST(TextStream, QuotedValuesAreConvertedStrictlyToTheEnd) {
    std::wstring utf16 = L"x";
    std::string utf8 = "x";
    for (int i = 0; i < 1000; ++i) {
        utf16.append({0xD83D, 0xDE00});
        utf8.append("\xF0\x9F\x98\x80");
    }
    EXPECT_EQ(written([&](auto& o) { o.quoted(utf16); }), "'" + utf8 + "'");
    EXPECT_EQ(written([&](auto& o) { o.quoted(utf16.substr(1)); }), "'" + utf8.substr(1) + "'");
    utf16.append({0xD83D, 'y'});
    EXPECT_EQ(written([&](auto& o) { EXPECT_THROW(o.quoted(utf16), std::runtime_error); }), "'" + utf8);
}

TEST(TextStream, NumbersHaveTheWidthOfTheirTypeOrTheOneAskedFor) {
    using byte = unsigned char;
    using word = unsigned short;
    EXPECT_EQ(written([](auto& o) {
                  o.Hex(byte{0xA}).key("").Hex(word{0xABC}).key("").Hex(0xABCDEFu).key("").Hex(0x1A2Cul);
                  o.key("").Hex(0xABCull).key("").Dec(INT_MIN).Dec(4, 2).Dec(-1, 4).Dec(100, 2).Dec(byte{255}, 4);
                  o.key("").Dec(word{65535}).key("").Dec(UINT_MAX).key("").Dec(ULLONG_MAX).key("").Dec(1, 11);
                  EXPECT_EQ(test::message_of([&] { o.Dec(1, 12); }), "Failed to log dec int");
                  o.key("").Dec(ULONG_MAX);
              }),
              "0A =0ABC =00ABCDEF =00001A2C =0000000000000ABC =-2147483648 4  -1100 255 =65535 =4294967295 "
              "=18446744073709551615 =          1 =" +
                  std::to_string(ULONG_MAX));
}

}  // namespace
