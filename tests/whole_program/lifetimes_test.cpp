// How the server ends, whatever its clients are doing.
#include <gtest/gtest.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

// More answers than the pipe's buffer of 256 bytes holds, asked for in fewer bytes than that, so that the server is
// stuck in writing and the client is not.
bytes questions() {
    bytes result;
    for (int i = 0; i < 40; ++i) result = result + packet(0x42, {1, 1, 0});
    return result;
}

TEST(Lifetime, BothKindsOfStopEndTheServer) {
    const struct {
        const char* client;
        bool served;
        bytes sent;
        bool control_c = false;
    } cases[] = {
        {"silent before the handshake", false, {}},      {"rejected but never reading", false, packet(0xD0, bytes(16))},
        {"idle after the handshake", true, {}},          {"in the middle of a packet", true, {0x42, 0x90, 0x00, 0x01}},
        {"asking but never reading", true, questions()}, {"idle at Ctrl-C", true, {}, true},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.client);
        server_process server(server_process::settings{.own_console = each.control_c});
        raw_client client = each.served ? served_client(server) : raw_client(server.pipe_id());
        if (!each.sent.empty()) client.send(each.sent);
        each.control_c ? server.press_control_c() : server.request_stop();
        EXPECT_EQ(server.exit_code(), 0u);
        EXPECT_NE(server.standard_output().find(each.control_c ? "\nCtrl-C was detected" : "\nExternal stop request"),
                  std::string::npos);
        const std::string log = server.log();
        EXPECT_NE(log.find(each.control_c ? " S::ConsoleCtrl event=Ctrl+C\r\n" : " S::HasExternalStopRequest res=ok\r"),
                  std::string::npos);
        EXPECT_TRUE(log.ends_with(" Finished\r\n")) << log;
    }
}

// What a client that is waiting for its answer gets when the stop comes first.
TEST(Lifetime, AnswersStillReachWhoReadsThemAfterTheStop) {
    server_process server;
    // More answers than the pipe holds: the server is still writing one of them.
    const bytes answer = error_answer(0x42, 1, "Unknown PDB module");
    served_client slow(server), quick(server);
    raw_client refused(server.pipe_id());
    slow.send(questions());
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
    EXPECT_EQ(server.exit_code(), 0u);
}

}  // namespace
