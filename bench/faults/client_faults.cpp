// Clients that leave, wait, hurry, never listen or are killed.
#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <numeric>
#include <random>
#include <string_view>

#include "base/module_path.h"
#include "bench/faults/scenario.h"
#include "core/stream/NamedPipeStream.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "text/path.h"
#include "text/utf.h"

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

// --- Clients in processes of their own, which are killed.

constexpr const wchar_t* client_word = L"--client";
constexpr std::uint32_t many_points = 100'000;  // of the method with the large answer
constexpr GUID large_mvid = {0x1A26E, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};

bytes ask_large() {
    return packet(0x43, {1, 1, 0});
}

// "large.dll" and "large.pdb", whose only method has that many points.
boost::filesystem::path make_large_module(const temporary_directory& folder) {
    const auto write = [&](const char* name, const test::bytes& content) {
        return folder.write(name, {content.begin(), content.end()});
    };
    const GUID id = {4, 5, 6, {}};
    test::byte_writer points;
    points.packed(0);                                // no local signature
    for (std::uint32_t i = 0; i < many_points; ++i)  // IL offset, lines, columns, then from where they start
        i == 0 ? points.packed(0).packed(0).packed(1).packed(1).packed(1)
               : points.packed(1).packed(0).packed(1).packed(2).packed(0);
    test::portable_pdb_builder pdb(id, 1);
    pdb.document("/gen/large.cs");
    pdb.method(1, points.data());
    write("large.pdb", pdb.build());
    test::pe_builder image;
    image.metadata(test::image_metadata(large_mvid, 1).build());
    image.debug_entry(2, 0x504D, 1, test::codeview_data(id, 1, "large.pdb"));
    return write("large.dll", image.build().data);
}

// Until it is killed. `what` is "loading", "reading" or "not_reading".
void be_client(const std::wstring& pipe_id, const std::wstring& what, const std::wstring& image) {
    for (;;) {
        raw_client client(pipe_id);
        client.exchange_for(handshake(), handshake_answer().size());
        client.exchange_for(load_request(1, image, large_mvid), packet(0x30, {1, 0, 1}).size());
        while (what != L"loading") {
            client.send(ask_large());
            if (what == L"reading") client.receive(0x10000);  // a part of the answer
        }
    }
}

class client_process {
public:
    client_process(const std::wstring& pipe_id, const wchar_t* what, const std::wstring& image) {
        std::wstring command =
            L"\"" + module_path(nullptr) + L"\" " + client_word + L" " + pipe_id + L" " + what + L" \"" + image + L"\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        promise(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                               &process) != FALSE,
                "a client process");
        process_.reset(process.hProcess);
        const handle_hld thread(process.hThread);
    }
    ~client_process() { kill(); }
    client_process(const client_process&) = delete;
    client_process& operator=(const client_process&) = delete;

    void kill() {
        TerminateProcess(process_.get(), 1);
        WaitForSingleObject(process_.get(), INFINITE);
    }

private:
    handle_hld process_;
};

std::string killed(const circumstances& now) {
    constexpr int rounds = 20;
    std::mt19937 random(static_cast<std::mt19937::result_type>(now.seed));
    watched_server server;
    const temporary_directory folder;
    const std::wstring image = qv::text::to_wide(make_large_module(folder));
    {
        served_client first(server.process());
        const bytes loaded = packet(0x30, {1, 0, 1});
        promise(first.exchange_for(load_request(1, image, large_mvid), loaded.size()) == loaded &&
                    first.exchange_for(ask_large(), 0x10000).size() == 0x10000,
                "a large answer");
    }
    for (int i = 0; i < rounds; ++i) {
        std::vector<std::unique_ptr<client_process>> clients;
        for (const wchar_t* what : {L"loading", L"reading", L"not_reading"})
            clients.push_back(std::make_unique<client_process>(server.pipe_id(), what, image));
        // Starting takes a process most of this.
        Sleep(300 + random() % 300);
        promise(served_client(server.process()).wrong_answers(every_command()) == 0, "others are served meanwhile");
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return std::to_string(3 * rounds) + " client processes killed while they load, read and do not read";
}

}  // namespace

bool is_client(int count, char* words[]) {
    if (count != 5 || std::string_view(words[1]) != "--client") return false;
    try {
        const auto wide = [&](int i) { return qv::text::to_utf16(words[i]); };
        be_client(wide(2), wide(3), wide(4));
    } catch (const std::exception&) {
        // The server has gone first.
    }
    return true;
}

std::vector<scenario> client_scenarios() {
    return {{"gone_at_every_byte", gone_at_every_byte},
            {"half_open", half_open},
            {"never_reading", never_reading},
            {"one_byte_a_second", one_byte_a_second},
            {"idle_and_one_more", idle_and_one_more},
            {"connects", connects},
            {"ahead_of_its_answers", ahead_of_its_answers},
            {"killed", killed}};
}

}  // namespace qv::bench
