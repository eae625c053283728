#include "pdb_client/library/session.h"

#include <gmock/gmock.h>

#include "pdb_client/library/scripted_stream.h"
#include "qv/diagnostics/exception.h"

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

struct bad_bytes {
    const char* name;
    const char* bytes;
    const char* message;
};

std::string case_name(const testing::TestParamInfo<bad_bytes>& info) {
    return info.param.name;
}

class BadHandshake : public testing::TestWithParam<bad_bytes> {};

TEST_P(BadHandshake, Throws) {
    scripted_stream server;
    server.answer(GetParam().bytes);
    EXPECT_EQ(thrown_by([&] { session(server, {}); }), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Session, BadHandshake,
    testing::Values(bad_bytes{"VersionRejected", "d0 00", "The server speaks another protocol version"},
                    bad_bytes{"VersionAnsweredWithSomethingElse", "e0 00", "Unexpected answer code"},
                    bad_bytes{"VersionAnswerWithPayload", "d1 01 00", "Unexpectable packet data"},
                    bad_bytes{"HangUpInsteadOfVersion", "", "The pipe is broken"},
                    bad_bytes{"OptionsAnsweredWithSomethingElse", "d1 00 d1 00", "Unexpected answer code"},
                    bad_bytes{"OptionsAnswerWithPayload", "d1 00 e0 01 00", "Unexpectable packet data"},
                    bad_bytes{"HangUpInsteadOfOptions", "d1 00 e0", "The pipe is broken"}),
    case_name);

TEST(Session, OptionsAreNotSentAfterARejectedVersion) {
    scripted_stream server;
    server.answer("d0 00");
    EXPECT_THROW(session(server, {}), exception);
    EXPECT_EQ(server.take_writes().size(), 1u);
}

TEST(Session, OptionsWithoutSearchPaths) {
    scripted_stream server;
    server.answer(handshake_answers);
    session(server, {3, {}});
    EXPECT_EQ(server.take_writes().back(), hex("e0 02 03 00"));
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

// Every answer is to the session's first request, so its id is 1.
class BadOffsets : public AfterHandshake, public testing::WithParamInterface<bad_bytes> {};

TEST_P(BadOffsets, Throws) {
    server.answer(GetParam().bytes);
    EXPECT_EQ(thrown_by([&] { (void)symbols->get_method_offsets(1, 0x06000001); }), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Session, BadOffsets,
    testing::Values(
        bad_bytes{"OtherCode", "43 03 01 00 00", "Unexpected answer code"},
        bad_bytes{"OtherRequest", "42 03 02 00 00", "The answer belongs to another request"},
        bad_bytes{"Empty", "42 00", "No enought data to read"},
        bad_bytes{"ErrorTextCutOff", "42 04 01 05 'ab'", "No enought data to read"},
        bad_bytes{"ResultAfterErrorText", "42 04 01 01 'a' 00", "The answer is longer than its content"},
        bad_bytes{"NoCount", "42 02 01 00", "No enought data to read"},
        bad_bytes{"BadCount", "42 03 01 00 e0", "Invalid counter encoding"},
        bad_bytes{"OneWordMissing", "42 07 01 00 02 00 00 00 00", "The answer is shorter than its counts"},
        bad_bytes{"OneByteMissing", "42 06 01 00 01 00 00 00", "The answer is shorter than its counts"},
        bad_bytes{"CountWhoseBytesWrapIn32Bits", "42 06 01 00 df ff ff ff", "The answer is shorter than its counts"},
        bad_bytes{"CountFourGigabytesInBytes", "42 06 01 00 d0 00 00 00", "The answer is shorter than its counts"},
        bad_bytes{"TrailingByte", "42 04 01 00 00 00", "The answer is longer than its content"},
        bad_bytes{"PacketCutOff", "42 09 01 00", "The pipe is broken"},
        bad_bytes{"HugePacketCutOff", "42 df ff ff ff 01 00", "The pipe is broken"},
        bad_bytes{"BadPacketLength", "42 ff", "Invalid counter encoding"}),
    case_name);

TEST_F(AfterHandshake, RangesWithAVectorMissingThrow) {
    server.answer("43 13 01 00 01 01 00 00 00 01 00 00 00 01 00 00 00 01 00 00 00");
    EXPECT_EQ(thrown_by([&] { (void)symbols->get_method_ranges(1, 0x06000001); }),
              "The answer is shorter than its counts");
}

TEST_F(AfterHandshake, DocumentWithLessChecksumThanPromisedThrows) {
    server.answer("45 16 01 00 01 'a' 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 aa");
    EXPECT_EQ(thrown_by([&] { (void)symbols->get_document(1, 1); }), "The answer is shorter than its counts");
}

TEST_F(AfterHandshake, DocumentUrlThatIsNotUtf8Throws) {
    server.answer("45 05 01 00 01 ff 00");
    EXPECT_EQ(thrown_by([&] { (void)symbols->get_document(1, 1); }), "Invalid UTF8 master symbol");
}

TEST_F(AfterHandshake, SourceServerDataLongerThanTheAnswerThrows) {
    server.answer("44 04 01 00 02 'a'");
    EXPECT_EQ(thrown_by([&] { (void)symbols->get_source_server_data(1); }), "The answer is shorter than its counts");
}

TEST_F(AfterHandshake, NothingLoadedIsNoError) {
    server.answer("30 03 01 00 00");
    EXPECT_EQ(symbols->load_module(L"a.dll", {}).value(), 0u);
}

TEST_F(AfterHandshake, MethodWithoutPoints) {
    server.answer("42 03 01 00 00  43 03 02 00 00");
    EXPECT_TRUE(symbols->get_method_offsets(1, 0x06000001).value().empty());
    EXPECT_TRUE(symbols->get_method_ranges(1, 0x06000001).value().empty());
}

TEST_F(AfterHandshake, SessionGoesOnAfterAnErrorAnswer) {
    server.answer("42 03 01 01 'e'  44 03 02 00 00");
    EXPECT_EQ(symbols->get_method_offsets(1, 0x06000001).error(), "e");
    EXPECT_TRUE(symbols->get_source_server_data(1).value().empty());
}

TEST_F(AfterHandshake, LargestMethodRowAndIds) {
    server.answer("42 03 01 00 00");
    EXPECT_TRUE(symbols->get_method_offsets(0x1FFFFFFF, 0x06FFFFFF).ok());
    EXPECT_THAT(server.take_writes(), ElementsAre(hex("42 09 01 df ff ff ff c0 ff ff fe")));
}

// What cannot be sent is refused before a byte goes out, so that the session is still good.
TEST_F(AfterHandshake, ArgumentsThatTheProtocolCannotCarrySendNothing) {
    for (const std::uint32_t token : {0u, 0x06000000u, 0x02000001u, 0x0A000001u})
        EXPECT_EQ(thrown_by([&] { (void)symbols->get_method_ranges(1, token); }), "Not a method token") << token;
    EXPECT_EQ(thrown_by([&] { (void)symbols->unload_module(0x20000000); }), "Too large value");
    EXPECT_EQ(thrown_by([&] { (void)symbols->load_module(L"\xD800", {}); }), "Not enough input");
    EXPECT_TRUE(server.take_writes().empty());
}

TEST_F(AfterHandshake, LongPathTakesATwoByteCountAndStaysOneWrite) {
    server.answer("30 03 01 00 01");
    EXPECT_EQ(symbols->load_module(std::wstring(200, L'p'), {}).value(), 1u);
    const auto writes = server.take_writes();
    ASSERT_EQ(writes.size(), 1u);
    auto expected = hex("30 80 db 01 80 c8");
    expected.insert(expected.end(), 200, 'p');
    expected.insert(expected.end(), 16, 0);
    EXPECT_EQ(writes[0], expected);
}

}  // namespace
}  // namespace qv::profiler::pdb_client
