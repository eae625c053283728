// Many clients at once, all served correctly whatever others do, and the pool of listeners afterwards.
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

std::size_t wrong_answers(raw_client& client) {
    std::size_t wrong = 0;
    for (const exchange& step : every_command())
        wrong += client.exchange_for(step.request, step.answer.size()) != step.answer;
    return wrong;
}

std::size_t wrong_conversations(const std::wstring& pipe_id) {
    raw_client client(pipe_id);
    std::size_t wrong = client.exchange_for(handshake(), handshake_answer().size()) != handshake_answer();
    wrong += wrong_answers(client);
    client.send(packet(0xFF, {1}));
    return wrong + (client.receive_rest() != packet(0xFF, {1, 0}));
}

// Workers that have started and not exited, as the log tells.
std::size_t live_workers(const std::string& log) {
    std::size_t live = 0;
    for (std::size_t at = 0; (at = log.find(" S::WorkThread res=", at)) != std::string::npos; ++at) {
        live += log.compare(at, 27, " S::WorkThread res=started\r") == 0;
        live -= log.compare(at, 25, " S::WorkThread res=exited") == 0;
    }
    return live;
}

bool reaches_three_workers(const server_process& server) {
    for (int tries = 0; tries < 1200 && live_workers(server.log()) != 3; ++tries) Sleep(50);
    return live_workers(server.log()) == 3;
}

TEST(ManyClients, AreAllAnsweredAndLeaveNothingButThreeListeners) {
    constexpr std::size_t clients = 64;
    server_process server(server_process::settings{.log_mask = 0});
    ASSERT_TRUE(server.wait_until_ready());
    ASSERT_TRUE(reaches_three_workers(server));
    const auto handles = server.holdings().handles;
    std::vector<std::future<std::size_t>> conversations;
    for (std::size_t i = 0; i < clients; ++i)
        conversations.push_back(std::async(std::launch::async, [&] { return wrong_conversations(server.pipe_id()); }));
    for (auto& conversation : conversations) EXPECT_EQ(conversation.get(), 0u);

    EXPECT_TRUE(reaches_three_workers(server));
    Sleep(500);
    EXPECT_EQ(live_workers(server.log()), 3u) << "three always stay";
    // The system keeps a few for its own threads; a leak would be one for each of the clients or of their loads.
    EXPECT_LT(server.holdings().handles, handles + clients / 2);
}

class RudeClients : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.wait_until_ready());
        bystander.emplace(server.pipe_id());
        bystander->exchange_for(handshake(), handshake_answer().size());
        before = server.holdings().memory;
    }

    server_process server;
    std::optional<raw_client> bystander;
    std::uint64_t before = 0;
};

TEST_F(RudeClients, AnnouncedLengthsReserveNothing) {
    std::vector<std::unique_ptr<raw_client>> clients;
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<raw_client>(server.pipe_id()));
        clients.back()->exchange_for(handshake(), handshake_answer().size());
        clients.back()->send({0x30, 0xDF, 0xFF, 0xFF, 0xFF, 0x00});
    }
    // Another conversation on the server gives the four time to have been read.
    EXPECT_EQ(wrong_answers(*bystander), 0u);
    Sleep(300);
    // Each connection may hold its receive step of 1 MiB and its thread, far from the half a gigabyte announced.
    EXPECT_LT(server.holdings().memory, before + (std::uint64_t{64} << 20));
}

TEST_F(RudeClients, TheBufferOfALongPacketIsGivenBack) {
    const std::string path(std::size_t{32} << 20, 'x');  // relative, and found nowhere
    bystander->send(packet(0x30, bytes{1} + text(path) + bytes(16)));
    EXPECT_EQ(bystander->receive(5), packet(0x30, {1, 0, 0}));
    // A further answer says that the server is done with that packet.
    EXPECT_EQ(bystander->exchange_for(packet(0x31, {2, 9}), 4), packet(0x31, {2, 0}));
    EXPECT_LT(server.holdings().memory, before + (std::uint64_t{16} << 20));
}

}  // namespace
