// Every call of the system that the server makes fails once, in a server of this process.
#include <objbase.h>
#include <process.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <thread>

#include "bench/faults/failing_call.h"
#include "bench/faults/scenario.h"
#include "core/stream/MemoryStreams.h"
#include "diagnostics/log.h"
#include "pdb_server/src/command_processor.h"
#include "pdb_server/src/pipe_manager.h"
#include "tests/support/server/handle_count.h"

namespace qv::bench {
namespace {

using namespace testing;

struct system_call {
    const char* name;
    std::function<std::unique_ptr<test::replaced_import>()> replace;
    int turns;                    // beyond these the calls are the same again
    std::set<std::string> texts;  // what the failure may be called; besides, it may look like a lost client
};

template <class Signature, moment When = moment::before>
system_call failing(const char* name, int turns, std::set<std::string> texts, result_of<Signature> failure = {}) {
    return {name, [=] { return failing_call<Signature, When>::replace(name, failure); }, turns, std::move(texts)};
}

std::vector<system_call> system_calls() {
    return {
        failing<decltype(CreateEventW)>("CreateEventW", 6, {"Can't create event", "Can't create pipe"}, nullptr),
        failing<decltype(CreateNamedPipeW)>("CreateNamedPipeW", 3, {"Can't create pipe"}, INVALID_HANDLE_VALUE),
        failing<decltype(ConnectNamedPipe)>("ConnectNamedPipe", 6, {}),
        failing<decltype(GetOverlappedResult), moment::after>("GetOverlappedResult", 12, {}),
        failing<decltype(ReadFile)>("ReadFile", 24, {"Can't read file"}),
        failing<decltype(WriteFile)>("WriteFile", 8, {}),
        failing<decltype(FlushFileBuffers)>("FlushFileBuffers", 2, {}),
        failing<decltype(DisconnectNamedPipe)>("DisconnectNamedPipe", 2, {}),
        failing<decltype(CreateFileW)>("CreateFileW", 8,
                                       {"Can't open file", "Invalid MVID for the absolute module path is detected"},
                                       INVALID_HANDLE_VALUE),
        failing<decltype(GetFileSizeEx)>("GetFileSizeEx", 8, {"Can't get file size"}),
        failing<decltype(GetFileType)>("GetFileType", 6,
                                       {"Can't open file", "Invalid MVID for the absolute module path is detected"},
                                       FILE_TYPE_UNKNOWN),
        failing<decltype(WaitForMultipleObjects)>("WaitForMultipleObjects", 6, {}, WAIT_FAILED),
        failing<decltype(OpenThread)>("OpenThread", 2, {}, nullptr),
        failing<decltype(RegisterWaitForSingleObject)>("RegisterWaitForSingleObject", 2, {}),
        failing<decltype(CoInitializeEx)>("CoInitializeEx", 3, {"Can't initialize COM"}, E_OUTOFMEMORY),
        failing<decltype(CoCreateInstance)>(
            "CoCreateInstance", 2, {"Can't create symbol binder", "Can't create metadata dispenser"}, E_OUTOFMEMORY),
        failing<decltype(_beginthreadex)>("_beginthreadex", 4, {"Can't create thread"}),
        failing<decltype(GetEnvironmentVariableW)>("GetEnvironmentVariableW", 3,
                                                   {"Failed to get environment variable"}),
        failing<decltype(AllocateAndInitializeSid)>(
            "AllocateAndInitializeSid", 7,
            {"Can't create BUILTIN_ADMINISTRATORS group SID", "Can't create LOCAL_SYSTEM user SID",
             "Can't create ANONYMOUS group SID", "Can't create ALL_APP_PACKAGES group SID",
             "Can't create EVERYONE group SID", "Can't create CREATOR_OWNER user SID",
             "Can't create LOW_MANDATORY_LEVEL group SID"}),
        failing<decltype(LocalAlloc)>(
            "LocalAlloc", 3,
            {"Can't alloc DACL buffer", "Can't alloc SACL buffer", "Can't allocate security descriptor"}, nullptr),
        failing<decltype(InitializeSecurityDescriptor)>("InitializeSecurityDescriptor", 1,
                                                        {"Can't initialize security descriptor"}),
        failing<decltype(AddAccessAllowedAce)>(
            "AddAccessAllowedAce", 6,
            {"Can't add BUILTIN_ADMINISTRATORS in DACL", "Can't add LOCAL_SYSTEM in DACL",
             "Can't add CREATOR_OWNER in DACL", "Can't add EVERYONE in DACL", "Can't add ANONYMOUS in DACL",
             "Can't add ALL_APP_PACKAGES in DACL"}),
        failing<decltype(AddMandatoryAce)>("AddMandatoryAce", 1, {"Can't add LOW_MANDATORY_LEVEL to SACL"})};
}

// The manager and its workers on threads of this process.
class own_server {
public:
    explicit own_server(const std::wstring& name) {
        profiler::pdb_server::pipe_manager_params params;
        params.pipe_name = name;
        params.stop = [this] { return stop_.load(); };
        params.process_commands = [](const auto& stopping, const auto& wait, auto* reader, auto* writer) {
            profiler::pdb_server::process_commands(stopping, wait, reader, writer);
        };
        thread_ = std::thread([this, params] {
            try {
                run_pipes(params, [] {});
            } catch (const std::exception& error) {
                failure_ = error.what();
            }
            over_ = true;
        });
    }
    ~own_server() { stop(); }
    own_server(const own_server&) = delete;
    own_server& operator=(const own_server&) = delete;

    void stop() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }
    // Also where it could not even begin.
    bool is_over() const { return over_; }
    // After the stop.
    const std::string& failure() const { return failure_; }

private:
    std::atomic<bool> stop_{false}, over_{false};
    std::string failure_;
    std::thread thread_;
};

// The payload's length, of which one byte has been read.
std::size_t rest_of(bytes& head, raw_client& client) {
    if (head[1] < 0x80) return head[1];
    head = head + client.receive(1);
    return std::size_t{head[1] & 0x3Fu} << 8 | head.back();
}

std::string error_text(const bytes& payload) {
    MemoryBlockStream stream(payload);
    stream.ReadPacked();
    return stream.ReadText();
}

// Right answers, an error text in place of one, or the end of the connection: what a client may meet. Returns the text.
std::string converse(const std::wstring& name) {
    raw_client client(name, 100);
    for (const exchange& step : whole_conversation()) {
        client.send(step.request);
        bytes head = client.receive(2);
        if (head.size() < 2) return {};
        const bytes rest = client.receive(head[0] == 0xD1 ? 2 : rest_of(head, client));
        if (head + rest == step.answer) continue;
        if (rest.empty()) return {};
        promise(head[0] == step.answer[0], "an answer to the question");
        const std::string text = error_text(rest);
        // A PDB whose place cannot be looked at is passed over: the load says that there are no symbols.
        const bool has_no_symbols = head[0] == 0x30 && rest.back() == 0;
        promise(!text.empty() || has_no_symbols, "the right answer, an error, or the end");
        return text;  // what follows is about a module that may not be there
    }
    client.receive(1);  // waits for the server to hang up, so that its last calls are made
    return {};
}

void expect_right_answers(const std::wstring& name) {
    raw_client client(name, 300);
    promise(client.wrong_answers(whole_conversation()) == 0, "right answers for the next client");
}

std::size_t handles() {
    return test::count_handles(GetCurrentProcessId());
}

// One server, one failing call. False where it has no call of this number.
bool fail_once(const std::wstring& name, int turn, std::set<std::string>& texts) {
    failing_calls::begin(turn);
    own_server server(name);
    try {
        if (const std::string text = converse(name); !text.empty()) texts.insert(first_part(text));
    } catch (const broken_promise&) {
        throw;
    } catch (const std::exception&) {
        // It found no listener, or its listener went as it came.
    }
    const bool failed = failing_calls::end() != 0;
    if (!server.is_over()) expect_right_answers(name);
    server.stop();
    if (!server.failure().empty()) texts.insert(server.failure());
    return failed;
}

std::string system_calls_fail(const circumstances& now) {
    const failing_calls::spared this_thread;
    // As in a host that lives long: else COM would load the symbol reader anew for each server, which costs handles.
    const com_apartment com;
    const auto begin = clock::now();
    const temporary_directory folder;
    const auto log = folder.path() / "log.txt";
    log::Logger::instance().open(log);
    unsigned number = 0, failures = 0;
    std::string text;
    for (const system_call& each : system_calls()) {
        std::set<std::string> texts;
        int turn = 0;
        const std::size_t told = read_file(log).size();
        const auto name = [&] {
            return L"faults_" + std::to_wstring(GetCurrentProcessId()) + std::to_wstring(++number);
        };
        const auto import = each.replace();
        fail_once(name(), 0, texts);  // what is made once is made
        const std::size_t before = handles();
        try {
            while (turn < each.turns && (turn == 0 || clock::now() - begin < now.time) &&
                   fail_once(name(), turn + 1, texts))
                ++turn;
        } catch (const broken_promise& broken) {
            throw broken_promise(std::string(each.name) + ", call " + std::to_string(turn + 1) + ": " + broken.what());
        }
        const std::size_t kept = handles() - std::min(handles(), before);
        promise(kept <= static_cast<std::size_t>(turn) / 2 + 4,
                std::string(each.name) + " keeps " + std::to_string(kept));
        for (const std::string& failure : errors_in(read_file(log).substr(told))) texts.insert(first_part(failure));
        text += "\n      " + std::string(each.name) + ", " + std::to_string(turn) + " times:";
        for (const std::string& one : texts) {
            promise(each.texts.contains(one) || is_of_a_lost_client(one), std::string(each.name) + " told as: " + one);
            text += "\n        " + one;
        }
        failures += static_cast<unsigned>(turn);
    }
    log::Logger::instance().close();
    return std::to_string(failures) + " failing calls of " + std::to_string(system_calls().size()) +
           " functions; what client and log are told:" + text;
}

}  // namespace

std::vector<scenario> system_call_scenarios() {
    return {{"system_calls", system_calls_fail}};
}

}  // namespace qv::bench
