// Stops at random moments, while clients ask, wait, leave and never listen.
#include <algorithm>
#include <atomic>
#include <charconv>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string_view>
#include <thread>

#include "bench/faults/scenario.h"

namespace qv::bench {
namespace {

using namespace testing;

constexpr int wanted_stops = 200;
constexpr unsigned tries = 100;  // to connect, 10 ms apart

// Clients alone delay the end by less than 3 s (docs/operations.md); the rest is for a machine with other work.
constexpr seconds longest_end{6};

// Characters of a log that does not end as it should.
constexpr std::size_t log_end = 500;

// Request ids of the clients that read, of four bytes each; the others use small ones.
constexpr std::uint32_t first_id = 0x10000;

struct question {
    unsigned char code;
    bytes arguments;
    bytes result;  // what follows the request id
};

// After Documents.dll was loaded as module 1.
std::vector<question> questions() {
    return {{0x42, {1, 0}, bytes{0, 3} + little_endian({0, 1, 9})},
            {0x45, {1, 7}, bytes{0} + text("/gen/elsewhere.txt") + bytes{0}},
            {0x44, {1}, {0, 0}},
            {0x42, {9, 0}, text("Unknown PDB module")},
            {0x31, {9}, {0}}};
}

bytes packed(std::uint32_t value) {
    return {static_cast<unsigned char>(0xC0 | value >> 24), static_cast<unsigned char>(value >> 16),
            static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}

// What one run's clients have come to know.
class crowd {
public:
    explicit crowd(server_process& server) : server_(server), pipe_id_(server.pipe_id()) {}
    ~crowd() {
        server_.request_stop();
        server_.exit_code();
        wait();
    }
    crowd(const crowd&) = delete;
    crowd& operator=(const crowd&) = delete;

    void ask() {
        join([this] {
            raw_client client(pipe_id_, tries);
            if (!goes_on(client, handshake(), handshake_answer(), 2)) return;
            const auto image = fixture("Documents.dll");
            static const GUID mvid = mvid_of(image);
            // A load that the stop comes to may be given up, and says so.
            const bytes loaded = packet(0x30, {1, 0, 1});
            if (client.exchange_for(load_request(1, image, mvid), loaded.size()) != loaded) return;
            static const auto all = questions();
            for (std::size_t i = 0;; ++i) {
                const question& next = all[i % all.size()];
                const std::uint32_t id = ++last_id_;
                const bytes answer = packet(next.code, packed(id) + next.result);
                if (!goes_on(client, packet(next.code, packed(id) + next.arguments), answer)) return;
                note_answered(id);
            }
        });
    }

    // To the end of the server.
    void come_and_go() {
        join([this] {
            while (!over_) {
                try {
                    raw_client(pipe_id_, 1).send({0xD0});
                } catch (const std::exception&) {
                    Sleep(1);  // no listener just now, or none any more
                }
            }
        });
    }

    // And waits for no answer, to the end of the server.
    void only_send(const bytes& sent) {
        join([this, sent] {
            raw_client client(pipe_id_, tries);
            client.send(handshake());
            client.receive(handshake_answer().size());
            if (!sent.empty()) client.send(sent);
            while (!over_) Sleep(10);
        });
    }

    // All of them, when the server has ended.
    void wait() {
        over_ = true;
        for (auto& thread : threads_) thread.join();
        threads_.clear();
    }

    const std::set<std::uint32_t>& answered() const { return answered_; }
    const std::string& complaint() const { return complaint_; }

private:
    template <class Body>
    void join(Body body) {
        threads_.emplace_back([this, body] {
            try {
                body();
            } catch (const broken_promise& broken) {
                const std::lock_guard<std::mutex> lock(mutex_);
                complaint_ = broken.what();
            } catch (const std::exception&) {
                // The server does not listen any more.
            }
        });
    }

    // Whether the answer came. One that does not may be missing as a whole, or after a packet of `part` bytes.
    bool goes_on(raw_client& client, const bytes& request, const bytes& answer, std::size_t part = 0) const {
        const bytes received = client.exchange_for(request, answer.size());
        if (received == answer) return true;
        promise(received.empty() || received.size() == part, "whole and right answers, not " +
                                                                 std::to_string(received.size()) +
                                                                 " bytes to request " + std::to_string(request[0]));
        return false;
    }

    void note_answered(std::uint32_t id) {
        const std::lock_guard<std::mutex> lock(mutex_);
        answered_.insert(id);
    }

    server_process& server_;
    const std::wstring pipe_id_;
    std::atomic<std::uint32_t> last_id_{first_id};
    std::atomic<bool> over_{false};
    std::mutex mutex_;
    std::set<std::uint32_t> answered_;
    std::string complaint_;
    std::vector<std::thread> threads_;
};

// Of the requests that the server has begun to read: those are promised an answer.
std::set<std::uint32_t> begun(const std::string& log) {
    constexpr std::string_view key = " id=";
    std::set<std::uint32_t> ids;
    for (std::size_t at = log.find(key); at != std::string::npos; at = log.find(key, at)) {
        at += key.size();
        std::uint32_t id = 0;
        std::from_chars(log.data() + at, log.data() + log.size(), id);
        if (id > first_id) ids.insert(id);
    }
    return ids;
}

struct outcome {
    seconds end;
    std::size_t answers;
};

std::string end_of(const std::string& log) {
    return log.substr(log.size() - std::min(log.size(), log_end));
}

void stop(server_process& server, bool by_control_c) {
    try {
        by_control_c ? server.press_control_c() : server.request_stop();
    } catch (const std::exception& error) {
        throw broken_promise(std::string("a server that can be stopped: ") + error.what() + ", exit code " +
                             std::to_string(server.exit_code_now()) + ", log " + end_of(server.log()));
    }
}

outcome stop_once(int turn, DWORD delay) {
    const bool rude = turn % 4 == 0, by_control_c = turn % 8 == 1;
    server_process server(server_process::settings{.log_mask = 1, .own_console = by_control_c});
    crowd clients(server);
    for (int i = 0; i < 3; ++i) clients.ask();
    clients.come_and_go();
    clients.only_send({});
    if (rude) {
        bytes flood;
        for (int i = 0; i < 40; ++i) flood = flood + packet(0x42, {1, 1, 0});
        clients.only_send(flood);
        clients.only_send({0x42, 0x90, 0x00, 0x01});
    }
    Sleep(delay);
    const auto begin = clock::now();
    stop(server, by_control_c);
    const DWORD code = server.exit_code();
    const seconds end = clock::now() - begin;
    clients.wait();
    const std::string log = server.log();
    promise(clients.complaint().empty(), clients.complaint());
    promise(code == 0, "exit code 0, not " + std::to_string(code));
    promise(end <= longest_end, "an end in time, not after " + std::to_string(end.count()) + " s");
    promise(log.ends_with(" Finished\r\n"), "Finished at the end of the log, not: " + end_of(log));
    for (const std::uint32_t id : begun(log))
        promise(clients.answered().contains(id), "the answer of request " + std::to_string(id) + " that was begun");
    return {end, clients.answered().size()};
}

std::string stops(const circumstances& now) {
    constexpr DWORD latest = 500;  // milliseconds after the server is ready
    std::mt19937 random(now.seed);
    const auto begin = clock::now();
    std::vector<outcome> outcomes;
    std::size_t answers = 0;
    while (outcomes.size() < wanted_stops && clock::now() - begin < now.time) {
        const auto turn = static_cast<int>(outcomes.size());
        outcomes.push_back(stop_once(turn, static_cast<DWORD>(random() % latest)));
        answers += outcomes.back().answers;
    }
    promise(answers != 0, "anybody was answered at all");
    std::sort(outcomes.begin(), outcomes.end(), [](const outcome& a, const outcome& b) { return a.end < b.end; });
    const auto tell = [](const outcome& one) { return std::to_string(one.end.count()) + " s"; };
    return std::to_string(outcomes.size()) + " stops under load, " + std::to_string(answers) + " answers; ends after " +
           tell(outcomes[outcomes.size() / 2]) + ", at the longest " + tell(outcomes.back());
}

}  // namespace

std::vector<scenario> stop_scenarios() {
    return {{"stops", stops}};
}

}  // namespace qv::bench
