// Clients that break the rules cost their own connection and nothing else.
#include <windows.h>
// psapi.h needs windows.h before it.
#include <gtest/gtest.h>
#include <psapi.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

std::uint64_t committed_memory(HANDLE process) {
    PROCESS_MEMORY_COUNTERS_EX counters = {};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(process, reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters), sizeof counters);
    return counters.PagefileUsage;
}

class RudeClients : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.wait_until_ready());
        bystander = std::make_unique<raw_client>(server.pipe_id());
        EXPECT_EQ(bystander->exchange_for(handshake(), handshake_answer().size()), handshake_answer());
    }

    void TearDown() override {
        for (const exchange& step : every_command())
            EXPECT_EQ(bystander->exchange_for(step.request, step.answer.size()), step.answer);
    }

    server_process server;
    std::unique_ptr<raw_client> bystander;
};

TEST_F(RudeClients, GoneInTheMiddleOfAPacket) {
    for (std::size_t sent = 1; sent < handshake().size(); ++sent) {
        raw_client client(server.pipe_id());
        const bytes whole = handshake();
        client.send(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(sent)));
    }
}

TEST_F(RudeClients, Garbage) {
    std::uint32_t state = 12345;
    for (int i = 0; i < 20; ++i) {
        raw_client client(server.pipe_id());
        bytes garbage(200);
        for (unsigned char& byte : garbage) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<unsigned char>(state >> 24);
        }
        garbage[0] &= 0x7F;  // never the version packet, so the first packet ends it
        garbage[1] &= 0x3F;
        client.send(garbage);
        EXPECT_EQ(client.receive_rest(), bytes());
    }
}

TEST_F(RudeClients, ALengthAloneReservesNothing) {
    const std::uint64_t before = committed_memory(server.process());
    ASSERT_NE(before, 0u);
    std::vector<std::unique_ptr<raw_client>> clients;
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<raw_client>(server.pipe_id()));
        clients.back()->exchange_for(handshake(), handshake_answer().size());
        clients.back()->send({0x30, 0xDF, 0xFF, 0xFF, 0xFF, 0x00});
    }
    // Another conversation on the server gives the four time to have been read.
    raw_client other(server.pipe_id());
    EXPECT_EQ(other.exchange_for(handshake(), handshake_answer().size()), handshake_answer());
    Sleep(300);
    const std::uint64_t after = committed_memory(server.process());
    // Each connection may hold its receive step of 1 MiB and its thread, far from the half a gigabyte announced.
    EXPECT_LT(after, before + (std::uint64_t{64} << 20));
}

TEST_F(RudeClients, TheBufferOfALongPacketIsGivenBack) {
    const std::uint64_t before = committed_memory(server.process());
    const std::string path(std::size_t{32} << 20, 'x');  // relative, and found nowhere
    bystander->send(packet(0x30, bytes{1} + text(path) + bytes(16)));
    EXPECT_EQ(bystander->receive(5), packet(0x30, {1, 0, 0}));
    // A further answer says that the server is done with that packet.
    EXPECT_EQ(bystander->exchange_for(packet(0x31, {2, 9}), 4), packet(0x31, {2, 0}));
    EXPECT_LT(committed_memory(server.process()), before + (std::uint64_t{16} << 20));
}

}  // namespace
