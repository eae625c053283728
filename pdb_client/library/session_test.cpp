#include "pdb_client/library/session.h"

#include <gmock/gmock.h>

#include "pdb_client/library/scripted_stream_test_support.h"

namespace qv::profiler::pdb_client {
namespace {

using testing::ElementsAre;

auto fails_with(const char* message) {
    return testing::ThrowsMessage<std::exception>(message);
}

TEST(Session, HandshakesThatFail) {
    const struct {
        const char* answers;
        const char* message;
        std::size_t packets_sent;  // no options after a version that was not accepted
    } cases[] = {{"d0 00", "The server speaks another protocol version", 1},
                 {"e0 00", "Unexpected answer code", 1},
                 {"d1 01 00", "Unexpectable packet data", 1},
                 {"d1 00 d1 00", "Unexpected answer code", 2},
                 {"d1 00 e0 01 00", "Unexpectable packet data", 2}};
    for (const auto& tested : cases) {
        scripted_stream server(tested.answers);
        EXPECT_THAT([&] { session(server, {}); }, fails_with(tested.message)) << tested.answers;
        EXPECT_EQ(server.take_writes().size(), tested.packets_sent) << tested.answers;
    }
}

TEST(Session, OptionsKeepTheOrderOfSearchPathsAndEmptyOnes) {
    scripted_stream server(handshake_answers);
    session(server, {0, {L"srv*\u00e9", L"", L"b"}});
    EXPECT_EQ(server.take_writes().back(), hex("e0 0c 00 03 06 'srv*' c3 a9 00 01 'b'"));
}

TEST(Session, AnswersThatBreakTheProtocol) {
    const auto offsets = [](session& s) { (void)s.get_method_offsets(1, 0x06000001); };
    const auto ranges = [](session& s) { (void)s.get_method_ranges(1, 0x06000001); };
    const auto document = [](session& s) { (void)s.get_document(1, 1); };
    const auto data = [](session& s) { (void)s.get_source_server_data(1); };
    constexpr const char* short_answer = "The answer is shorter than its counts";
    constexpr const char* long_answer = "The answer is longer than its content";
    const struct {
        void (*ask)(session&);
        const char* answer;
        const char* message;
    } cases[] = {{offsets, "43 03 01 00 00", "Unexpected answer code"},
                 {offsets, "42 03 02 00 00", "The answer belongs to another request"},
                 {offsets, "42 04 01 05 'ab'", "No enought data to read"},  // the error text is cut off
                 {offsets, "42 04 01 01 'a' 00", long_answer},
                 {offsets, "42 06 01 00 01 00 00 00", short_answer},
                 {offsets, "42 06 01 00 df ff ff ff", short_answer},  // in bytes, near 2^31
                 {offsets, "42 06 01 00 d0 00 00 00", short_answer},  // a multiple of 2^30
                 {offsets, "42 04 01 00 00 00", long_answer},
                 {ranges, "43 13 01 00 01 01 00 00 00 01 00 00 00 01 00 00 00 01 00 00 00", short_answer},
                 {document, "45 16 01 00 01 'a' 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 aa", short_answer},
                 {data, "44 04 01 00 02 'a'", short_answer}};
    for (const auto& tested : cases) {
        scripted_stream server(handshake_answers + tested.answer);
        session symbols(server, {});
        EXPECT_THAT([&] { tested.ask(symbols); }, fails_with(tested.message)) << tested.answer;
    }
}

// What cannot be sent is refused before a byte goes out, so that the session is still good.
TEST(Session, NumbersAndTextsAtTheirLimits) {
    scripted_stream server(handshake_answers + "42 07 01 00 01 78 56 34 f2");
    session symbols(server, {});
    server.take_writes();
    EXPECT_THAT(symbols.get_method_offsets(0x1FFFFFFF, 0x06FFFFFF).value(), ElementsAre(0xF2345678));
    EXPECT_THAT(server.take_writes(), ElementsAre(hex("42 09 01 df ff ff ff c0 ff ff fe")));
    for (const std::uint32_t token : {0x06000000u, 0x0A000001u}) {
        EXPECT_THAT([&] { (void)symbols.get_method_offsets(1, token); }, fails_with("Not a method token")) << token;
        EXPECT_THAT([&] { (void)symbols.get_method_ranges(1, token); }, fails_with("Not a method token")) << token;
    }
    EXPECT_THAT([&] { (void)symbols.unload_module(0x20000000); }, fails_with("Too large value"));
    EXPECT_THAT([&] { (void)symbols.load_module(L"\xD800", {}); }, fails_with("Not enough input"));
    EXPECT_TRUE(server.take_writes().empty());
}

}  // namespace
}  // namespace qv::profiler::pdb_client
