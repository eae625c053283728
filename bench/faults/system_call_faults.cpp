// Every call of the system that the server's program makes fails once, in a process of its own: from the start of the
// program, over a conversation, to its end.
#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "base/module_path.h"
#include "bench/faults/failing_server.h"
#include "bench/faults/http_host.h"
#include "bench/faults/program_calls.h"
#include "bench/faults/scenario.h"
#include "core/stream/MemoryStreams.h"

namespace qv::bench {
namespace {

using namespace testing;

constexpr unsigned tries = 300;  // to connect, 10 ms apart
constexpr std::chrono::seconds longest_conversation{30};

// --- The client.

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
    raw_client client(name, tries);
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

// As above, but no harm is done where there is no listener, or the listener goes as the client comes.
std::string try_to_converse(const std::wstring& name) {
    try {
        return converse(name);
    } catch (const broken_promise&) {
        throw;
    } catch (const std::exception&) {
        return {};
    }
}

// Whether a client gets right answers, who comes again where his listener goes as he comes.
bool is_served(const std::wstring& name) {
    for (int i = 0; i < 3; ++i) {
        try {
            return raw_client(name, tries).wrong_answers(whole_conversation()) == 0;
        } catch (const std::exception&) {
            // It could not be written to.
        }
    }
    return false;
}

// A client who has a module looked for where nobody answers, and leaves meanwhile. The server looks now and then
// whether he has.
void search_and_leave(const std::wstring& name) {
    const local_port host;
    const temporary_directory folder;
    const auto image = folder.copy(fixture("Standalone.dll"), "Standalone.dll");
    raw_client client(name, tries);
    constexpr unsigned char policy = 0x0E;
    client.send(handshake(policy, {"srv*" + folder.path().string() + "*" + host.address()}));
    client.receive(handshake_answer().size());
    client.send(load_request(1, image, mvid_of(image)));
    Sleep(500);
}

// Asks, takes leave and reads nothing, for as long as it lives.
class unreading_client {
public:
    explicit unreading_client(const std::wstring& name) : client_(name, tries) {
        client_.send(handshake());
        client_.receive(handshake_answer().size());
        client_.send(packet(0x42, {1, 1, 0}) + packet(0xFF, {1}));
        Sleep(200);  // for the server to have answered
    }

private:
    raw_client client_;
};

// --- The server.

// A failure's text with its code and without the system's words for it.
std::string told(const std::string& failure) {
    const std::size_t code = failure.find(" (");
    return code == failure.npos ? failure : failure.substr(0, failure.find_first_of(",)", code));
}

struct outcome {
    failure_report report;
    std::set<std::string> texts;
    std::string log;
};

server_process::settings settings_for(const program_call& call, int turn, const std::string& report) {
    static const std::wstring program =
        (boost::filesystem::path(module_path(nullptr)).parent_path() / "failing_server.exe").native();
    const std::string variable =
        std::string(failing_call_variable) + "=" + call.name + " " + std::to_string(turn) + " " + report;
    std::vector<std::wstring> options = {L"--local_clients_only", L"--new_pipe_only"};
    if (call.when != life::searching) options.push_back(L"--local_paths_only");
    return {.further_arguments = options,
            .executable = program,
            .variable = std::wstring(variable.begin(), variable.end())};
}

// The system refuses to start a process now and then.
std::unique_ptr<server_process> start(const server_process::settings& how) {
    for (int left = 3;; Sleep(100)) {
        try {
            return std::make_unique<server_process>(how);
        } catch (const std::exception&) {
            if (--left == 0) throw;
        }
    }
}

// What it says where it ends by itself; nothing where it does not.
std::string end_of(const server_process& server) {
    const std::string exception = "\r\nException: ", output = server.standard_output();
    const std::size_t at = output.find(exception);
    if (at == output.npos) return {};
    const std::size_t text = at + exception.size();
    return output.substr(text, output.find("\r\n", text) - text);
}

// Empty where there is none.
std::string log_of(const server_process& server) {
    try {
        return server.log();
    } catch (const std::exception&) {
        return {};
    }
}

class failing_server {
public:
    failing_server(const program_call& call, int turn)
        : call_(call), name_(next_name()), report_(name_), server_(start(settings_for(call, turn, name_))) {}

    outcome live() {
        if (is_alive()) {
            client_ = std::async(std::launch::async, [this] { meet_clients(); });
            promise(client_.wait_for(longest_conversation) == std::future_status::ready, "answers in time");
            client_.get();
        }
        stop();
        outcome_.report = *report_;
        return outcome_;
    }

private:
    static std::string next_name() {
        static std::atomic<unsigned> number = 0;
        return "faults_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++number);
    }

    bool is_alive() const { return server_->exit_code_now() == STILL_ACTIVE; }

    void meet_clients() {
        note(try_to_converse(server_->pipe_id()));
        if (call_.when == life::searching) search_and_leave(server_->pipe_id());
        // Where it has not failed by now, it may while this client asks, or at the end.
        if ((*report_).failures == 0)
            note(try_to_converse(server_->pipe_id()));
        else if (is_alive())
            promise(is_served(server_->pipe_id()), "right answers for the next client");
    }

    void note(const std::string& text) {
        if (!text.empty()) outcome_.texts.insert(told(text));
    }

    void stop() {
        std::optional<unreading_client> unreading;
        if (call_.when == life::unread && is_alive()) unreading.emplace(server_->pipe_id());
        server_->request_stop();
        const DWORD code = server_->exit_code();
        const std::string end = end_of(*server_);
        promise(code == (end.empty() ? 0 : 1), "not exit code " + std::to_string(code) + " after: " + end);
        outcome_.log = log_of(*server_);
        // Without a log of its own it has said so.
        promise(
            outcome_.log.ends_with(" Finished\r\n") || (outcome_.log.empty() && end.starts_with("Can't create file")),
            "Finished at the end of the log");
        note(end);
        for (const std::string& failure : errors_in(outcome_.log)) note(failure);
    }

    const program_call& call_;
    const std::string name_;
    const shared_failure_report report_;
    outcome outcome_{};
    std::future<void> client_;  // outlives the server, without which it ends
    const std::unique_ptr<server_process> server_;
};

outcome fail_once(const program_call& call, int turn) {
    return failing_server(call, turn).live();
}

// --- The table.

// The most handles that are open at the end where nothing fails: a thread of the system's own comes and goes.
LONG usual_handles(life when) {
    constexpr int lives = 6;
    program_call call = program_calls().front();
    call.when = when;
    std::vector<std::future<outcome>> all;
    while (all.size() < lives) all.push_back(std::async(std::launch::async, fail_once, std::cref(call), 0));
    LONG most = 0;
    for (auto& each : all) most = std::max(most, each.get().report.handles);
    return most;
}

struct tally {
    int failures = 0;
    LONG kept = 0;  // handles, more or less than without a failure
    std::set<std::string> texts;
};

void note(const program_call& call, const outcome& one, LONG handles, tally& all) {
    for (const std::string& text : one.texts)
        promise(call.texts.contains(text) || is_of_a_lost_client(text), "told as: " + text);
    promise(one.log.find(call.in_log) != one.log.npos, "a log that says" + call.in_log);
    all.texts.insert(one.texts.begin(), one.texts.end());
    all.kept += one.report.handles - handles;
    ++all.failures;
}

tally fail_each(const program_call& call, LONG handles, const std::function<bool()>& has_time) {
    tally all;
    if (call.turns == 0) promise(fail_once(call, 1).report.failures == 0, call.name + " is not called");
    for (int turn = 1; turn <= call.turns && (turn == 1 || has_time()); ++turn) {
        try {
            const outcome one = fail_once(call, turn);
            if (one.report.failures == 0) break;
            note(call, one, handles, all);
        } catch (const std::exception& broken) {
            throw broken_promise(call.name + ", call " + std::to_string(turn) + ": " + broken.what());
        }
    }
    promise(all.failures != 0 || call.turns == 0, call.name + " is called at all");
    promise(all.kept <= all.failures / 4 + 4, call.name + " keeps " + std::to_string(all.kept));
    return all;
}

std::string tell(const program_call& call, const tally& all) {
    std::string text = "\n      " + call.name + ", " + std::to_string(all.failures) + " times:";
    for (const std::string& one : all.texts) text += "\n        " + one;
    return text;
}

// Several at a time: most of what a server does here is to wait.
std::string system_calls_fail(const circumstances& now) {
    constexpr int threads = 4;
    const auto begin = clock::now();
    const auto calls = program_calls();
    std::map<life, LONG> handles;
    for (const life each : {life::usual, life::searching, life::unread}) handles[each] = usual_handles(each);
    std::atomic<std::size_t> next = 0;
    std::atomic<int> failures = 0;
    std::vector<std::string> texts(calls.size());
    std::mutex mutex;
    std::string broken;
    const auto work = [&] {
        for (std::size_t i; (i = next++) < calls.size();) {
            try {
                const tally all =
                    fail_each(calls[i], handles.at(calls[i].when), [&] { return clock::now() - begin < now.time; });
                failures += all.failures;
                texts[i] = tell(calls[i], all);
            } catch (const broken_promise& promised) {
                const std::lock_guard<std::mutex> lock(mutex);
                broken += std::string("\n      ") + promised.what();
            }
        }
    };
    std::vector<std::future<void>> workers;
    while (workers.size() < threads) workers.push_back(std::async(std::launch::async, work));
    for (auto& worker : workers) worker.get();
    promise(broken.empty(), broken);
    std::string text;
    for (const std::string& each : texts) text += each;
    return std::to_string(failures) + " failing calls of " + std::to_string(calls.size()) +
           " functions; what client, log and host are told:" + text;
}

}  // namespace

std::vector<scenario> system_call_scenarios() {
    return {{"system_calls", system_calls_fail}};
}

}  // namespace qv::bench
