// What one request over the pipe costs, against the least that a pipe can do: one write and one read a side.
//
//     pipe_bench [SERVER.exe]
//
// The same client asks a process that only echoes and the server, in turns, and a quiet turn of each counts. Printed
// are the times of a small answer and of a longer one, their ratios, and the calls of the system that the server makes
// for a request. Ends with 1 when a ratio is above 1.3. Another server can be named, so that two builds are compared.
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "base/holders.h"
#include "base/module_path.h"
#include "pdb_client/program/spawned_server.h"
#include "pdb_server/src/command_processor.h"
#include "pdb_server/src/host_events.h"
#include "pdb_server/src/pipe_manager.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/calls/replaced_import.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"

namespace {

using namespace qv::testing;
using qv::handle_hld;
using qv::profiler::pdb_client::spawned_server;
using clock_type = std::chrono::steady_clock;
using microseconds = std::chrono::duration<double, std::micro>;

constexpr int turns = 100;
constexpr int requests_a_turn = 200;
constexpr double highest_ratio = 1.3;
constexpr std::chrono::seconds patience{60};
constexpr const wchar_t* echo_option = L"--echo";

void require(bool ok, const char* what) {
    if (!ok) throw std::runtime_error(std::string(what) + " failed with " + std::to_string(GetLastError()));
}

std::wstring pipe_path(const std::wstring& id) {
    return L"\\\\.\\pipe\\" + id;
}

// --- The client: blocking calls, one write and one read for a request as long as the answer comes in one piece.

class client {
public:
    explicit client(const std::wstring& id) {
        while (!pipe_) {
            pipe_.reset(qv::valid_handle_or_null(CreateFileW(pipe_path(id).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                                             nullptr, OPEN_EXISTING, 0, nullptr)));
            if (!pipe_) Sleep(10);
        }
    }

    void ask(const bytes& request, const bytes& answer) {
        DWORD moved = 0;
        require(WriteFile(pipe_.get(), request.data(), static_cast<DWORD>(request.size()), &moved, nullptr), "writing");
        for (std::size_t done = 0; done < answer.size(); done += moved) {
            const auto left = static_cast<DWORD>(got_.size() - done);
            require(ReadFile(pipe_.get(), got_.data() + done, left, &moved, nullptr), "reading");
        }
        require(std::equal(answer.begin(), answer.end(), got_.begin()), "comparing");
    }

private:
    handle_hld pipe_;
    std::array<unsigned char, 0x4000> got_;
};

microseconds turn(client& asking, const exchange& step) {
    const auto begin = clock_type::now();
    for (int i = 0; i < requests_a_turn; ++i) asking.ask(step.request, step.answer);
    return (clock_type::now() - begin) / double{requests_a_turn};
}

// On a busy machine the very best turn is luck, and most of the others are somebody else's doing.
microseconds quiet_turn(std::vector<microseconds>& times) {
    const auto tenth = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 10);
    std::nth_element(times.begin(), tenth, times.end());
    return *tenth;
}

// --- What is asked.

struct measured {
    const char* name;
    exchange step;
};

class sample {
public:
    sample() {
        qv::test::byte_writer points;  // (10,5)-(10,13), (12,5)-(12,13) and so on
        points.packed(0).packed(0).packed(0).packed(8).packed(10).packed(5);
        for (unsigned i = 1; i < long_method; ++i) points.packed(3).packed(0).packed(8).packed(2 << 1).packed(0);
        qv::test::portable_pdb_builder pdb(mvid, 5);
        pdb.document("/src/sample.cs");
        pdb.method(1, points.data());
        qv::test::pe_builder image;
        image.metadata(qv::test::image_metadata(mvid, 1).build()).embedded(pdb.build()).codeview(mvid, 5, "sample.pdb");
        const bytes file = image.build().data;
        path_ = folder_.write("sample.dll", std::string(file.begin(), file.end()));
    }

    void load(client& asking) const {
        asking.ask(handshake(), handshake_answer());
        asking.ask(load_request(1, path_, mvid), packet(0x30, {1, 0, 1}));
    }

    static std::vector<measured> requests() {
        // The module that is let go has never been there, which is no error.
        return {{"4 bytes there, 4 back", {packet(0x31, {1, 9}), packet(0x31, {1, 0})}},
                {"5 bytes there, 5,687 back", {packet(0x43, {1, 1, 0}), ranges()}}};
    }

private:
    static constexpr GUID mvid = {1, 2, 3, {4}};
    static constexpr unsigned long_method = 284;  // points

    static bytes ranges() {
        bytes payload = {1, 0, 0x81, 0x1C};  // request, no error, the number of points
        const auto column = [&](std::uint32_t first, std::uint32_t step) {
            for (std::uint32_t i = 0; i < long_method; ++i) payload = payload + little_endian({first + i * step});
        };
        column(1, 0);
        column(10, 2);
        column(5, 0);
        column(10, 2);
        column(13, 0);
        return packet(0x43, payload);
    }

    temporary_directory folder_;
    boost::filesystem::path path_;
};

// --- The least: a process that answers every request with one write after one read.

constexpr unsigned char echoed = 7;

// Started like a server, and told how long its answers are. It ends when its client has gone.
int echo(const std::wstring& id, std::size_t answer_size) {
    const handle_hld pipe(qv::valid_handle_or_null(
        CreateNamedPipeW(pipe_path(id).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 256, 256, 1000, nullptr)));
    require(static_cast<bool>(pipe), "creating a pipe");
    qv::profiler::pdb_server::set_external_ready_signal(id);
    ConnectNamedPipe(pipe.get(), nullptr);
    const bytes answer(answer_size, echoed);
    std::array<unsigned char, 4096> request;
    DWORD moved = 0;
    while (ReadFile(pipe.get(), request.data(), static_cast<DWORD>(request.size()), &moved, nullptr) && moved != 0)
        WriteFile(pipe.get(), answer.data(), static_cast<DWORD>(answer.size()), &moved, nullptr);
    return 0;
}

// --- The calls that the server makes, counted in a server of this process.

std::atomic<DWORD> client_thread;

template <int Number, class Signature>
class call_counter;

// Counts the program's calls of one imported function, but for those of the client.
template <int Number, class Result, class... Arguments>
class call_counter<Number, Result(Arguments...)> {
public:
    explicit call_counter(const char* function) : import_(function, reinterpret_cast<void*>(&count)) {
        original_ = import_.original();
    }
    void reset() { calls_ = 0; }
    double per_request() const { return calls_.load() / double{requests_a_turn}; }

private:
    static Result WINAPI count(Arguments... arguments) {
        if (GetCurrentThreadId() != client_thread) ++calls_;
        return reinterpret_cast<Result(WINAPI*)(Arguments...)>(original_)(arguments...);
    }

    static inline void* original_;
    static inline std::atomic<unsigned> calls_;
    qv::test::replaced_import import_;
};

void count_calls(const sample& module) {
    call_counter<0, decltype(PeekNamedPipe)> peeks("PeekNamedPipe");
    call_counter<1, decltype(ReadFile)> reads("ReadFile");
    call_counter<2, decltype(WriteFile)> writes("WriteFile");
    client_thread = GetCurrentThreadId();
    using namespace qv::profiler::pdb_server;
    std::atomic<bool> stop{false};
    pipe_manager_params params;
    params.pipe_name = L"pipe_bench_" + std::to_wstring(GetCurrentProcessId());
    params.stop = [&] { return stop.load(); };
    params.process_commands = [](const auto& stopping, const auto& wait, auto* reader, auto* writer) {
        process_commands(stopping, wait, reader, writer);
    };
    std::thread server([&] { run_pipes(params, [] {}); });
    {
        client asking(params.pipe_name);
        module.load(asking);
        for (const measured& each : module.requests()) {
            peeks.reset();
            reads.reset();
            writes.reset();
            turn(asking, each.step);
            std::printf("%-34s %10.2f reads %6.2f writes %6.2f peeks\n", each.name, reads.per_request(),
                        writes.per_request(), peeks.per_request());
        }
    }
    stop = true;
    server.join();
}

// --- All of it.

bool compare(const sample& module, const std::wstring& program, const std::wstring& server_program) {
    const spawned_server server(server_program, {});
    server.wait_until_ready(patience);
    client asking(server.pipe_id());
    module.load(asking);
    bool good = true;
    for (const measured& each : module.requests()) {
        const std::size_t size = each.step.answer.size();
        const spawned_server echo(program, {echo_option, std::to_wstring(size)});
        echo.wait_until_ready(patience);
        client pinging(echo.pipe_id());
        const exchange ping = {each.step.request, bytes(size, echoed)};
        std::vector<microseconds> bare_turns, our_turns;
        for (int i = 0; i < turns; ++i) {
            bare_turns.push_back(turn(pinging, ping));
            our_turns.push_back(turn(asking, each.step));
        }
        const microseconds bare = quiet_turn(bare_turns), ours = quiet_turn(our_turns);
        const double ratio = ours / bare;
        std::printf("%-34s %10.1f us, one write and one read a side %10.1f us, ratio %.2f\n", each.name, ours.count(),
                    bare.count(), ratio);
        std::fflush(stdout);
        good = good && ratio <= highest_ratio;
    }
    return good;
}

int run(const std::vector<std::wstring>& arguments) {
    try {
        // --pipe ID --stop_request_event NAME --echo SIZE
        if (arguments.size() == 6 && arguments[4] == echo_option) return echo(arguments[1], std::stoul(arguments[5]));
        const std::wstring program = qv::module_path(nullptr);
        const auto own_server = boost::filesystem::path(program).parent_path() / L"pdb_server.exe";
        const sample module;
        const bool good = compare(module, program, arguments.empty() ? own_server.native() : arguments[0]);
        count_calls(module);
        return good ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}

}  // namespace

extern "C" int wmain(int argc, wchar_t* argv[]);

int wmain(int argc, wchar_t* argv[]) {
    return run({argv + 1, argv + argc});
}
