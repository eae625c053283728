// Many clients at once, all served correctly, and the pool of listeners afterwards.
#include <gtest/gtest.h>

#include <future>

#include "core/src/bridges/bridge_protocol.h"
#include "core/src/stream/MemoryBlockStream.h"
#include "core/src/stream/MemoryStream.h"
#include "pdb_server/src/pdb_processor.h"
#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using qv::profiler::pdb_server::pdb_processor;

const char* const modules[] = {"Documents.dll", "Hidden.dll", "Embedded.dll", "Ranges.dll", "Standalone.dll"};

// 5 loads and 100 queries with the answers that the engine gives in this process.
std::vector<exchange> expected_conversation() {
    pdb_processor engine;
    engine.init(0, {});
    std::vector<exchange> steps;
    unsigned char id = 0;
    for (const char* name : modules) {
        const GUID mvid = mvid_of(fixture(name));
        const auto mid = static_cast<unsigned char>(engine.load_module(fixture(name), mvid));
        EXPECT_NE(mid, 0) << name;
        steps.push_back({load_request(++id, fixture(name), mvid), packet(0x30, {id, 0, mid})});
    }
    for (unsigned char query = 0; query < 100; ++query) {
        const auto mid = static_cast<unsigned char>(query % 5 + 1);
        std::vector<unsigned> offsets;
        engine.get_method_offsets(mid, qv::profiler::token_from_wire(0), offsets);
        bytes answer = {query, 0, static_cast<unsigned char>(offsets.size())};
        for (const unsigned offset : offsets) answer = answer + little_endian({offset});
        steps.push_back({packet(0x42, {query, mid, 0}), packet(0x42, answer)});
    }
    return steps;
}

std::size_t wrong_answers(const std::wstring& pipe_id, const std::vector<exchange>& steps) {
    raw_client client(pipe_id);
    std::size_t wrong = client.exchange_for(handshake(), handshake_answer().size()) != handshake_answer();
    for (const exchange& step : steps) wrong += client.exchange_for(step.request, step.answer.size()) != step.answer;
    client.send(packet(0xFF, {1}));
    return wrong + (client.receive_rest() != packet(0xFF, {1, 0}));
}

DWORD handles_of(const server_process& server) {
    DWORD handles = 0;
    EXPECT_TRUE(GetProcessHandleCount(server.process(), &handles));
    return handles;
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
    for (int tries = 0; tries < 600 && live_workers(server.log()) != 3; ++tries) Sleep(50);
    return live_workers(server.log()) == 3;
}

TEST(ManyClients, AreAllAnsweredAndLeaveNothingButThreeListeners) {
    constexpr std::size_t clients = 64;
    const std::vector<exchange> steps = expected_conversation();
    ASSERT_EQ(steps.size(), 105u);
    server_process::settings settings;
    settings.log_mask = 0;
    server_process server(settings);
    ASSERT_TRUE(server.wait_until_ready());
    ASSERT_TRUE(reaches_three_workers(server));
    const DWORD handles = handles_of(server);

    std::vector<std::future<std::size_t>> conversations;
    for (std::size_t i = 0; i < clients; ++i)
        conversations.push_back(std::async(std::launch::async, [&] { return wrong_answers(server.pipe_id(), steps); }));
    std::size_t wrong = 0;
    for (auto& conversation : conversations) wrong += conversation.get();
    EXPECT_EQ(wrong, 0u);

    EXPECT_TRUE(reaches_three_workers(server));
    Sleep(500);
    EXPECT_EQ(live_workers(server.log()), 3u) << "three always stay";
    // The system keeps a few for its own threads; a leak would be one for each of the clients or of their loads.
    EXPECT_LT(handles_of(server), handles + clients / 2);
}

}  // namespace
