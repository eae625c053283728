// Clients that leave, wait, hurry or never listen.
#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <numeric>

#include "bench/faults/scenario.h"
#include "core/stream/NamedPipeStream.h"

namespace qv::bench {
namespace {

using namespace testing;

std::size_t length_of(const std::vector<exchange>& steps) {
    return std::accumulate(steps.begin(), steps.end(), std::size_t{0},
                           [](std::size_t sum, const exchange& e) { return sum + e.request.size() + e.answer.size(); });
}

bytes beginning_of(const bytes& all, std::size_t size) {
    return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(size, all.size()))};
}

// Sends and reads the conversation's first `size` bytes and leaves.
void leave_after(const std::wstring& pipe_id, const std::vector<exchange>& steps, std::size_t size) {
    raw_client client(pipe_id);
    for (const exchange& step : steps) {
        const bytes sent = beginning_of(step.request, size);
        if (!sent.empty()) client.send(sent);
        size -= sent.size();
        const bytes expected = beginning_of(step.answer, size);
        promise(client.receive(expected.size()) == expected, "right answers up to the moment of leaving");
        size -= expected.size();
        if (size == 0) return;
    }
}

std::string gone_at_every_byte(const circumstances&) {
    watched_server server;
    const auto steps = whole_conversation();
    const std::size_t length = length_of(steps);
    for (std::size_t size = 0; size <= length; ++size) {
        try {
            leave_after(server.pipe_id(), steps, size);
        } catch (const broken_promise&) {
            throw;
        } catch (const std::exception&) {
            --size;  // it came as its listener left, and comes again
        }
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return "a client gone after each of " + std::to_string(length) + " bytes";
}

// Some of each kind stay connected while others are served.
std::string in_the_way(const char* what, const std::function<void(raw_client&)>& begin, bool shake_hands) {
    constexpr int crowd = 32;
    watched_server server;
    {
        std::vector<std::unique_ptr<raw_client>> clients;
        for (int i = 0; i < crowd; ++i) {
            clients.push_back(shake_hands ? std::make_unique<served_client>(server.process())
                                          : std::make_unique<raw_client>(server.pipe_id()));
            begin(*clients.back());
        }
        for (int i = 0; i < 4; ++i)
            promise(served_client(server.process()).wrong_answers(every_command()) == 0, "others are served meanwhile");
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return std::to_string(crowd) + " clients " + what + ", others served meanwhile";
}

std::string half_open(const circumstances&) {
    return in_the_way(
        "that say half a version or nothing",
        [i = 0](raw_client& client) mutable {
            if (++i % 2 == 0) client.send(beginning_of(handshake(), 9));
        },
        false);
}

// More answers than the pipe holds, asked for in fewer bytes than it holds.
std::string never_reading(const circumstances&) {
    bytes questions;
    for (int i = 0; i < 40; ++i) questions = questions + packet(0x42, {1, 1, 0});
    return in_the_way(
        "that ask and never read", [&](raw_client& client) { client.send(questions); }, true);
}

std::string one_byte_a_second(const circumstances&) {
    watched_server server;
    const std::vector<exchange> steps = {{handshake(), handshake_answer()},
                                         {packet(0x31, {1, 9}), packet(0x31, {1, 0})}};
    {
        raw_client slow(server.pipe_id());
        for (const exchange& step : steps) {
            for (const unsigned char byte : step.request) {
                slow.send({byte});
                Sleep(1000);
            }
            for (const unsigned char byte : step.answer) {
                promise(slow.receive(1) == bytes{byte}, "every byte of the answer, one a second");
                Sleep(1000);
            }
        }
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return std::to_string(length_of(steps)) + " bytes there and back, one a second";
}

std::string idle_and_one_more(const circumstances&) {
    constexpr std::size_t idle = 255;
    watched_server server;
    {
        std::vector<std::unique_ptr<served_client>> clients;
        while (clients.size() < idle) clients.push_back(std::make_unique<served_client>(server.process()));
        promise(served_client(server.process()).wrong_answers(every_command()) == 0, "one more is served");
        for (auto& client : clients)
            promise(client->wrong_answers({failing_queries().front()}) == 0, "each is answered after its long silence");
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return std::to_string(idle) + " idle clients and one more, all answered";
}

// Half of them leave at once, half shake hands first.
std::string connects(const circumstances& now) {
    constexpr int wanted = 5000, threads = 8;
    watched_server server;
    const auto begin = clock::now();
    std::atomic<int> taken{0}, done{0};
    std::vector<std::future<void>> clients;
    for (int i = 0; i < threads; ++i)
        clients.push_back(std::async(std::launch::async, [&] {
            for (int n; (n = taken++) < wanted && clock::now() - begin < now.time; ++done) {
                if (n % 2 == 0)
                    raw_client leaving(server.pipe_id());
                else
                    served_client shaken(server.process());
            }
        }));
    for (auto& client : clients) client.get();
    const seconds passed = clock::now() - begin;
    server.expect_as_before();
    server.expect_orderly_end();
    return std::to_string(done.load()) + " connections in " + std::to_string(passed.count()) + " s";
}

// All is sent as fast as the pipe takes it; the answers are read meanwhile, in their order.
std::string ahead_of_its_answers(const circumstances&) {
    constexpr int rounds = 20;
    watched_server server;
    bytes sent, expected;
    for (const exchange& step : whole_conversation()) {
        sent = sent + step.request;
        expected = expected + step.answer;
    }
    for (int i = 0; i < rounds; ++i) {
        NamedPipeStream pipe;
        const auto connect = [&] {
            const raw_client wait_for_a_listener(server.pipe_id());
            Sleep(50);
            pipe.Create(server.pipe_id(), file_access::read_write, false, 0, 0, 0, 0, nullptr);
        };
        connect();
        auto writer = std::async(std::launch::async, [&] { pipe.Write(sent.data(), sent.size()); });
        bytes received(expected.size());
        pipe.Read(received.data(), received.size());
        writer.get();
        promise(received == expected, "every answer in its place");
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return std::to_string(rounds) + " conversations sent ahead of all their answers";
}

}  // namespace

std::vector<scenario> client_scenarios() {
    return {{"gone_at_every_byte", gone_at_every_byte},
            {"half_open", half_open},
            {"never_reading", never_reading},
            {"one_byte_a_second", one_byte_a_second},
            {"idle_and_one_more", idle_and_one_more},
            {"connects", connects},
            {"ahead_of_its_answers", ahead_of_its_answers}};
}

}  // namespace qv::bench
