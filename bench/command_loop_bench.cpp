// What the conversation itself costs: small requests through the whole command loop, over streams in memory.
#include <benchmark/benchmark.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/bench_files.h"
#include "core/stream/MemoryStreams.h"
#include "pdb_server/src/command_processor.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/costly_files/allocations.h"
#include "tests/support/files/test_files.h"

namespace qv::bench {
namespace {

using namespace qv::testing;

const bytes goodbye = packet(0xFF, {1});

// A client that goes on sending one request for as long as the benchmark runs. It sees to it that no answer but the
// expected one comes, and that none takes memory but the first.
class repeating_client {
public:
    repeating_client(benchmark::State& state, const bytes& beginning, const exchange& step)
        : state_(state), step_(step), sent_(beginning + step.request + goodbye), first_(beginning.size()) {}

    void converse() {
        packet_reader reader(in_);
        packet_writer writer(out_);
        profiler::pdb_server::process_commands([] { return false; }, [this](int) { return prepare_next(); }, &reader,
                                               &writer);
    }

private:
    // Called before every command.
    bool prepare_next() {
        const std::uint64_t position = in_.GetPosition();
        if (position > first_) check_answer();
        out_.Clear();
        if (position >= first_ && state_.KeepRunning()) in_.Seek(SeekOrigin::Begin, static_cast<std::int64_t>(first_));
        test::largest_allocation = 0;
        return true;
    }

    void check_answer() {
        if (out_.bytes() != step_.answer) throw std::runtime_error("another answer has come");
        if (answers_++ != 0 && test::largest_allocation != 0) throw std::runtime_error("a request has taken memory");
    }

    benchmark::State& state_;
    const exchange step_;
    const bytes sent_;
    const std::size_t first_;
    MemoryBlockStream in_{sent_};
    MemoryStream out_;
    std::uint64_t answers_ = 0;
};

void converse(benchmark::State& state, const exchange& step) {
    const auto module = fixture("Documents.dll");
    repeating_client(state, handshake() + load_request(1, module, mvid_of(module)), step).converse();
    state.SetItemsProcessed(state.iterations());
}

// A whole conversation that is there from its first byte to its last. Returns what is answered.
bytes answers_to(const bytes& sent) {
    MemoryBlockStream in(sent);
    MemoryStream out;
    packet_reader reader(in);
    packet_writer writer(out);
    profiler::pdb_server::process_commands([] { return false; }, [](int) { return true; }, &reader, &writer);
    return out.bytes();
}

void open_and_close(benchmark::State& state) {
    const bytes sent = handshake() + goodbye;
    const bytes answered = handshake_answer() + packet(0xFF, {1, 0});
    for (auto _ : state)
        if (answers_to(sent) != answered) throw std::runtime_error("another answer has come");
}

// So many at the same time, each with a thread, a load and a hundred requests of its own.
void serve_clients(benchmark::State& state, const exchange& step) {
    const auto module = fixture("Documents.dll");
    bytes sent = handshake() + load_request(1, module, mvid_of(module));
    bytes answered = handshake_answer() + packet(0x30, {1, 0, 1});
    for (int i = 0; i < 100; ++i) {
        sent = sent + step.request;
        answered = answered + step.answer;
    }
    sent = sent + goodbye;
    answered = answered + packet(0xFF, {1, 0});
    for (auto _ : state) {
        std::atomic<int> wrong{0};
        {
            std::vector<std::jthread> clients;
            for (int i = 0; i < state.range(0); ++i)
                clients.emplace_back([&] { wrong += answers_to(sent) != answered; });
        }
        if (wrong != 0) throw std::runtime_error("another answer has come");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

void add_command_loop_benchmarks() {
    const bytes places = little_endian({1, 1, 1}) + little_endian({4, 5, 6}) + little_endian({25, 9, 5}) +
                         little_endian({4, 5, 6}) + little_endian({26, 23, 6});
    struct request {
        const char* name;
        exchange step;
    };
    const std::vector<request> requests = {
        {"command_loop/offsets", {packet(0x42, {5, 1, 0}), packet(0x42, bytes{5, 0, 3} + little_endian({0, 1, 9}))}},
        {"command_loop/ranges", {packet(0x43, {6, 1, 0}), packet(0x43, bytes{6, 0, 3} + places)}},
        // The module has never been there, which is no error.
        {"command_loop/unload", {packet(0x31, {7, 9}), packet(0x31, {7, 0})}},
    };
    for (const request& each : requests)
        benchmark::RegisterBenchmark(each.name, [=](benchmark::State& state) { converse(state, each.step); });
    benchmark::RegisterBenchmark("command_loop/open_and_close", open_and_close);
    benchmark::RegisterBenchmark("clients", [=](benchmark::State& state) { serve_clients(state, requests[1].step); })
        ->Arg(1)
        ->Arg(4)
        ->Arg(16)
        ->Arg(64)
        ->Arg(255)
        ->MeasureProcessCPUTime();
}

}  // namespace qv::bench
