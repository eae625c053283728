// Many clients at once, all served correctly whatever others do, and the pool of listeners afterwards.
#include <gtest/gtest.h>

#include <future>
#include <memory>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

bool reaches_three_listeners(const raw_client& observer) {
    for (int tries = 0; tries < 1200 && observer.instances() != 1 + 3; ++tries) Sleep(50);
    return observer.instances() == 1 + 3;
}

TEST(ManyClients, AreAllAnsweredAndLeaveNothingButThreeListeners) {
    constexpr std::size_t clients = 64;
    server_process server(server_process::settings{.log_mask = 0});
    const raw_client observer(server.pipe_id());
    ASSERT_TRUE(reaches_three_listeners(observer));
    const auto handles = server.holdings().handles;
    std::vector<std::future<std::size_t>> conversations;
    for (std::size_t i = 0; i < clients; ++i)
        conversations.push_back(std::async(std::launch::async, [&] {
            served_client client(server);
            const std::size_t wrong = client.wrong_answers(every_command());
            client.send(packet(0xFF, {1}));
            return wrong + (client.receive_rest() != packet(0xFF, {1, 0}));
        }));
    for (auto& conversation : conversations) EXPECT_EQ(conversation.get(), 0u);

    EXPECT_TRUE(reaches_three_listeners(observer));
    // The system keeps a few for its own threads; a leak would be one for each of the clients or of their loads.
    EXPECT_LT(server.holdings().handles, handles + clients / 2);
}

TEST(RudeClients, ReserveAndKeepNothing) {
    const server_process server;
    served_client bystander(server);
    const std::uint64_t before = server.holdings().memory;
    std::vector<std::unique_ptr<served_client>> clients;
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<served_client>(server));
        clients.back()->send({0x30, 0xDF, 0xFF, 0xFF, 0xFF, 0x00});
    }
    // Another conversation on the server gives the four time to have been read.
    EXPECT_EQ(bystander.wrong_answers(every_command()), 0u);
    Sleep(300);
    // Each connection may hold its receive step of 1 MiB and its thread, far from the half a gigabyte announced.
    EXPECT_LT(server.holdings().memory, before + (std::uint64_t{64} << 20));

    clients.clear();
    const std::uint64_t settled = server.holdings().memory;
    const std::string path(std::size_t{32} << 20, 'x');  // relative, and found nowhere
    bystander.send(packet(0x30, bytes{1} + text(path) + bytes(16)));
    EXPECT_EQ(bystander.receive(5), packet(0x30, {1, 0, 0}));
    // A further answer says that the server is done with that packet.
    EXPECT_EQ(bystander.exchange_for(packet(0x31, {2, 9}), 4), packet(0x31, {2, 0}));
    EXPECT_LT(server.holdings().memory, settled + (std::uint64_t{16} << 20)) << "a long packet's buffer is given back";
}

}  // namespace
