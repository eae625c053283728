// How the server ends, whatever its clients are doing.
#include <gtest/gtest.h>

#include <optional>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

struct client_state {
    const char* name;
    enum { none, connected, served } stage;
    bytes sent;
};

bytes repeated(int times, const bytes& request) {
    bytes result;
    for (int i = 0; i < times; ++i) result = result + request;
    return result;
}

const client_state client_states[] = {
    {"NoClient", client_state::none, {}},
    {"SilentBeforeTheHandshake", client_state::connected, {}},
    {"RejectedButNeverReading", client_state::connected, packet(0xD0, bytes(16))},
    {"IdleAfterTheHandshake", client_state::served, {}},
    {"InTheMiddleOfAPacket", client_state::served, {0x42, 0x90, 0x00, 0x01}},
    // More answers than the pipe's buffer of 256 bytes holds, asked for in fewer bytes than that, so that the server is
    // stuck in writing and the client is not.
    {"AskingButNeverReading", client_state::served, repeated(40, packet(0x42, {1, 1, 0}))},
};

class Lifetimes : public ::testing::TestWithParam<client_state> {};

TEST_P(Lifetimes, StopEventEndsTheServer) {
    server_process server;
    ASSERT_TRUE(server.wait_until_ready());
    std::optional<raw_client> client;
    if (GetParam().stage != client_state::none) client.emplace(server.pipe_id());
    if (GetParam().stage == client_state::served) client->exchange_for(handshake(), handshake_answer().size());
    if (!GetParam().sent.empty()) client->send(GetParam().sent);
    server.request_stop();
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
    EXPECT_NE(server.standard_output().find("External stop request was detected"), std::string::npos);
    const std::string log = server.log();
    EXPECT_NE(log.find(" S::HasExternalStopRequest res=ok\r\n"), std::string::npos);
    EXPECT_TRUE(log.ends_with(" Finished\r\n")) << log;
}

INSTANTIATE_TEST_SUITE_P(Clients, Lifetimes, ::testing::ValuesIn(client_states),
                         [](const auto& test) { return std::string(test.param.name); });

// Both kinds of stop end in the same event.
TEST(Lifetime, ControlCEndsTheServer) {
    server_process server(server_process::settings{.own_console = true});
    ASSERT_TRUE(server.wait_until_ready());
    raw_client client(server.pipe_id());
    client.exchange_for(handshake(), handshake_answer().size());
    server.press_control_c();
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
    EXPECT_NE(server.standard_output().find("Ctrl-C was detected"), std::string::npos);
    const std::string log = server.log();
    EXPECT_NE(log.find(" S::ConsoleCtrl event=Ctrl+C\r\n"), std::string::npos);
    EXPECT_TRUE(log.ends_with(" Finished\r\n")) << log;
}

// What a client that is waiting for its answer gets when the stop comes first.
TEST(Lifetime, AnswersStillReachWhoReadsThemAfterTheStop) {
    server_process server;
    ASSERT_TRUE(server.wait_until_ready());
    // More answers than the pipe holds: the server is still writing one of them.
    const bytes answer = error_answer(0x42, 1, "Unknown PDB module");
    raw_client slow(server.pipe_id()), quick(server.pipe_id()), refused(server.pipe_id());
    for (raw_client* client : {&slow, &quick}) client->exchange_for(handshake(), handshake_answer().size());
    for (int i = 0; i < 40; ++i) slow.send(packet(0x42, {1, 1, 0}));
    quick.send(packet(0xFF, {1}));
    refused.send(packet(0xD0, bytes(16)));
    server.request_stop();
    while (server.log().find("S::RunPipes res=shutdowning") == std::string::npos) Sleep(10);
    Sleep(300);  // busy with something else for a moment
    const bytes received = slow.receive_rest();
    EXPECT_FALSE(received.empty());
    EXPECT_EQ(received.size() % answer.size(), 0u) << "no answer is cut short";
    EXPECT_EQ(quick.receive_rest(), packet(0xFF, {1, 0}));
    EXPECT_EQ(refused.receive_rest(), packet(0xD0));
    EXPECT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
}

}  // namespace
