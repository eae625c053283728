#include "pdb_client/library/session.h"

#include <gmock/gmock.h>

#include "pdb_client/library/scripted_stream.h"

namespace qv::profiler::pdb_client {
namespace {

using testing::ElementsAre;

// The message of what the action throws; empty if it throws nothing.
template <class Action>
std::string thrown_by(Action action) {
    try {
        action();
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

TEST(Session, HandshakesThatFail) {
    const struct {
        const char* answers;
        const char* message;
        std::size_t packets_sent;  // no options after a version that was not accepted
    } cases[] = {{"d0 00", "The server speaks another protocol version", 1},
                 {"e0 00", "Unexpected answer code", 1},
                 {"d1 01 00", "Unexpectable packet data", 1},
                 {"", "The pipe is broken", 1},
                 {"d1 00 d1 00", "Unexpected answer code", 2},
                 {"d1 00 e0 01 00", "Unexpectable packet data", 2},
                 {"d1 00 e0", "The pipe is broken", 2}};
    for (const auto& tested : cases) {
        scripted_stream server;
        server.answer(tested.answers);
        EXPECT_EQ(thrown_by([&] { session(server, {}); }), tested.message) << tested.answers;
        EXPECT_EQ(server.take_writes().size(), tested.packets_sent) << tested.answers;
    }
}

TEST(Session, OptionsKeepTheOrderOfSearchPathsAndEmptyOnes) {
    scripted_stream server;
    server.answer(handshake_answers);
    session(server, {0, {L"srv*\u00e9", L"", L"b"}});
    EXPECT_EQ(server.take_writes().back(), hex("e0 0c 00 03 06 'srv*' c3 a9 00 01 'b'"));
}

class AfterHandshake : public testing::Test {
protected:
    AfterHandshake() {
        server.answer(handshake_answers);
        symbols.emplace(server, session_options{});
        server.take_writes();
    }

    scripted_stream server;
    std::optional<session> symbols;
};

TEST(Session, AnswersThatBreakTheProtocol) {
    const auto offsets = [](session& s) { (void)s.get_method_offsets(1, 0x06000001); };
    const auto ranges = [](session& s) { (void)s.get_method_ranges(1, 0x06000001); };
    const auto document = [](session& s) { (void)s.get_document(1, 1); };
    const auto data = [](session& s) { (void)s.get_source_server_data(1); };
    constexpr const char* short_answer = "The answer is shorter than its counts";
    constexpr const char* long_answer = "The answer is longer than its content";
    constexpr const char* no_field = "No enought data to read";
    const struct {
        void (*ask)(session&);
        const char* answer;
        const char* message;
    } cases[] = {{offsets, "43 03 01 00 00", "Unexpected answer code"},
                 {offsets, "42 03 02 00 00", "The answer belongs to another request"},
                 {offsets, "42 00", no_field},
                 {offsets, "42 04 01 05 'ab'", no_field},  // the error text is cut off
                 {offsets, "42 04 01 01 'a' 00", long_answer},
                 {offsets, "42 02 01 00", no_field},
                 {offsets, "42 03 01 00 e0", "Invalid counter encoding"},
                 {offsets, "42 06 01 00 01 00 00 00", short_answer},
                 {offsets, "42 06 01 00 df ff ff ff", short_answer},  // in bytes, near 2^31
                 {offsets, "42 06 01 00 d0 00 00 00", short_answer},  // a multiple of 2^30
                 {offsets, "42 04 01 00 00 00", long_answer},
                 {offsets, "42 09 01 00", "The pipe is broken"},
                 {offsets, "42 df ff ff ff 01 00", "The pipe is broken"},
                 {offsets, "42 ff", "Invalid counter encoding"},
                 {ranges, "43 13 01 00 01 01 00 00 00 01 00 00 00 01 00 00 00 01 00 00 00", short_answer},
                 {document, "45 16 01 00 01 'a' 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 aa", short_answer},
                 {document, "45 05 01 00 01 ff 00", "Invalid UTF8 master symbol"},
                 {data, "44 04 01 00 02 'a'", short_answer}};
    for (const auto& tested : cases) {
        scripted_stream server;
        server.answer(handshake_answers);
        session symbols(server, {});
        server.answer(tested.answer);
        EXPECT_EQ(thrown_by([&] { tested.ask(symbols); }), tested.message) << tested.answer;
    }
}

TEST_F(AfterHandshake, SessionGoesOnAfterAnErrorAnswer) {
    server.answer("42 03 01 01 'e'  44 03 02 00 00");
    EXPECT_EQ(symbols->get_method_offsets(1, 0x06000001).error(), "e");
    EXPECT_TRUE(symbols->get_source_server_data(1).value().empty());
}

TEST_F(AfterHandshake, LargestNumbers) {
    server.answer("42 07 01 00 01 78 56 34 f2");
    EXPECT_THAT(symbols->get_method_offsets(0x1FFFFFFF, 0x06FFFFFF).value(), ElementsAre(0xF2345678));
    EXPECT_THAT(server.take_writes(), ElementsAre(hex("42 09 01 df ff ff ff c0 ff ff fe")));
}

// What cannot be sent is refused before a byte goes out, so that the session is still good.
TEST_F(AfterHandshake, ArgumentsThatTheProtocolCannotCarrySendNothing) {
    for (const std::uint32_t token : {0u, 0x06000000u, 0x02000001u, 0x0A000001u}) {
        EXPECT_EQ(thrown_by([&] { (void)symbols->get_method_offsets(1, token); }), "Not a method token") << token;
        EXPECT_EQ(thrown_by([&] { (void)symbols->get_method_ranges(1, token); }), "Not a method token") << token;
    }
    EXPECT_EQ(thrown_by([&] { (void)symbols->unload_module(0x20000000); }), "Too large value");
    EXPECT_EQ(thrown_by([&] { (void)symbols->load_module(L"\xD800", {}); }), "Not enough input");
    EXPECT_TRUE(server.take_writes().empty());
}

}  // namespace
}  // namespace qv::profiler::pdb_client
