// How the server ends, whatever its clients are doing.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

// Long enough for a loaded machine; a server that hangs never ends at all.
constexpr std::uint32_t patience_milliseconds = 30000;

struct client_state {
    std::string name;
    // Brings a client into the state; whatever it returns lives until the server has ended.
    std::function<std::unique_ptr<raw_client>(server_process&)> enter;
};

std::unique_ptr<raw_client> connected(server_process& server) {
    return std::make_unique<raw_client>(server.pipe_id());
}

std::unique_ptr<raw_client> served(server_process& server) {
    auto client = connected(server);
    EXPECT_EQ(client->exchange_for(handshake(), handshake_answer().size()), handshake_answer());
    return client;
}

const std::vector<client_state>& client_states() {
    static const std::vector<client_state> states = {
        {"NoClient", [](server_process&) { return nullptr; }},
        {"SilentBeforeTheHandshake", connected},
        {"IdleAfterTheHandshake", served},
        {"InTheMiddleOfAPacket",
         [](server_process& server) {
             auto client = served(server);
             client->send({0x42, 0x90, 0x00, 0x01});
             return client;
         }},
        {"AskingButNeverReading",
         [](server_process& server) {
             auto client = served(server);
             // More answers than the pipe's buffer of 256 bytes holds, asked for in fewer bytes than that, so that the
             // server is stuck in writing and the client is not.
             bytes requests;
             for (int i = 0; i < 40; ++i) requests = requests + packet(0x42, {1, 1, 0});
             client->send(requests);
             return client;
         }},
        {"RejectedButNeverReading",
         [](server_process& server) {
             auto client = connected(server);
             client->send(packet(0xD0, bytes(16)));
             return client;
         }},
    };
    return states;
}

class Lifetimes : public ::testing::TestWithParam<client_state> {};

TEST_P(Lifetimes, StopEventEndsTheServer) {
    server_process server;
    ASSERT_TRUE(server.wait_until_ready());
    const auto client = GetParam().enter(server);
    server.request_stop();
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
    EXPECT_NE(server.standard_output().find("External stop request was detected"), std::string::npos);
    const std::string log = server.log();
    EXPECT_NE(log.find(" S::HasExternalStopRequest res=ok\r\n"), std::string::npos);
    EXPECT_TRUE(log.ends_with(" Finished\r\n")) << log;
}

TEST_P(Lifetimes, ControlCEndsTheServer) {
    server_process::settings settings;
    settings.own_console = true;
    server_process server(settings);
    ASSERT_TRUE(server.wait_until_ready());
    const auto client = GetParam().enter(server);
    server.press_control_c();
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
    EXPECT_NE(server.standard_output().find("Ctrl-C was detected"), std::string::npos);
    const std::string log = server.log();
    EXPECT_NE(log.find(" S::ConsoleCtrl event=Ctrl+C\r\n"), std::string::npos);
    EXPECT_TRUE(log.ends_with(" Finished\r\n")) << log;
}

INSTANTIATE_TEST_SUITE_P(Clients, Lifetimes, ::testing::ValuesIn(client_states()),
                         [](const auto& test) { return test.param.name; });

// What a client that is waiting for its answer gets when the stop comes first.
TEST(Lifetimes, AnswersStillReachWhoReadsThemAfterTheStop) {
    server_process server;
    ASSERT_TRUE(server.wait_until_ready());
    // More answers than the pipe holds: the server is still writing one of them.
    const bytes request = packet(0x42, {1, 1, 0});
    const bytes answer = error_answer(0x42, 1, "Unknown PDB module");
    auto slow = served(server);
    for (int i = 0; i < 40; ++i) slow->send(request);
    auto quick = served(server);
    quick->send(packet(0xFF, {1}));
    auto refused = connected(server);
    refused->send(packet(0xD0, bytes(16)));
    server.request_stop();
    while (server.log().find("S::RunPipes res=shutdowning") == std::string::npos) Sleep(10);
    Sleep(300);  // busy with something else for a moment
    const bytes received = slow->receive_rest();
    EXPECT_FALSE(received.empty());
    EXPECT_EQ(received.size() % answer.size(), 0u) << "no answer is cut short";
    EXPECT_EQ(quick->receive_rest(), packet(0xFF, {1, 0}));
    EXPECT_EQ(refused->receive_rest(), packet(0xD0));
    EXPECT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
}

}  // namespace
