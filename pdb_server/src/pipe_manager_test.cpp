// A server with an echo for a conversation, driven by clients on the real pipe.
#include "pdb_server/src/pipe_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>
#include <process.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/holders.h"
#include "core/src/stream/NamedPipeStream.h"
#include "diagnostics/exception_test_support.h"
#include "qv/diagnostics/exception.h"
#include "qv/diagnostics/log.h"
#include "tests/support/calls/replaced_import.h"

namespace qv::profiler::pdb_server {
namespace {

using bytes = std::vector<unsigned char>;

constexpr unsigned char quit = 0xFF;
constexpr unsigned char fail = 0xEE;
constexpr unsigned char flood = 0xDD;  // an answer that a client has to read before the server can go on

void echo(const std::function<bool()>& stop, const std::function<bool(int)>& wait, packet_reader* reader,
          packet_writer* writer) {
    bytes payload;
    while (!stop()) {
        if (!wait(100)) continue;
        const unsigned char code = reader->receive(&payload);
        if (code == fail) throw std::runtime_error("conversation failed");
        if (code == flood) payload.resize(1000000);
        writer->send(code, payload.size(), payload.data());
        if (code == quit) return;
    }
}

std::wstring unique_name() {
    const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
    return L"qv_manager_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::wstring(test.begin(), test.end());
}

class client {
public:
    // Tries until an instance is free, as clients of pipes do.
    explicit client(const std::wstring& name) {
        const std::wstring path = L"\\\\.\\pipe\\" + name;
        for (;;) {
            pipe_.reset(valid_handle_or_null(
                CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
            if (pipe_) return;
            if (GetLastError() != ERROR_PIPE_BUSY && GetLastError() != ERROR_FILE_NOT_FOUND)
                throw std::runtime_error("cannot connect");
            if (!WaitNamedPipeW(path.c_str(), 5000)) Sleep(10);
        }
    }

    void send(const bytes& packet) {
        DWORD done = 0;
        if (!WriteFile(pipe_.get(), packet.data(), static_cast<DWORD>(packet.size()), &done, nullptr) ||
            done != packet.size())
            throw std::runtime_error("cannot send");
    }

    // As many bytes as there are up to `size`: fewer mean that the server has hung up.
    bytes receive(std::size_t size) {
        bytes result(size);
        std::size_t total = 0;
        DWORD done = 0;
        while (total < size &&
               ReadFile(pipe_.get(), result.data() + total, static_cast<DWORD>(size - total), &done, nullptr))
            total += done;
        result.resize(total);
        return result;
    }

    bytes ask(const bytes& packet) {
        send(packet);
        return receive(packet.size());
    }

    // Pipe instances that the server has now, this client's own among them.
    DWORD instances() const {
        DWORD count = 0;
        EXPECT_TRUE(GetNamedPipeHandleStateW(pipe_.get(), nullptr, &count, nullptr, nullptr, nullptr, 0));
        return count;
    }

private:
    handle_hld pipe_;
};

class server {
public:
    explicit server(
        std::wstring name, std::function<void()> ready = [] {})
        : name_(std::move(name)) {
        pipe_manager_params params{name_, [this] { return stop_.load(); }, &echo};
        result_ = std::async(std::launch::async, [params, ready] { run_pipes(params, ready); });
    }
    ~server() { stop_ = true; }

    // Returns when the server has ended; throws what run_pipes throws.
    void stop() {
        stop_ = true;
        result_.get();
    }
    void wait() { result_.get(); }

private:
    std::wstring name_;
    std::atomic<bool> stop_{false};
    std::future<void> result_;
};

const bytes hello = {0x01, 0x02, 'h', 'i'};
const bytes goodbye = {quit, 0x00};

bool reaches(const client& observer, DWORD instances) {
    for (int tries = 0; tries < 1500; ++tries) {
        if (observer.instances() == instances) return true;
        Sleep(10);
    }
    return false;
}

TEST(PipeManager, ServesOneClientAfterTheOther) {
    const auto name = unique_name();
    std::atomic<int> ready_calls{0};
    server host(name, [&] { ++ready_calls; });
    for (int i = 0; i < 8; ++i) {
        client guest(name);
        EXPECT_EQ(guest.ask(hello), hello);
        EXPECT_EQ(guest.ask(goodbye), goodbye);
        EXPECT_EQ(guest.receive(1), bytes()) << "the server hangs up after quit";
    }
    host.stop();
    EXPECT_EQ(ready_calls, 1);
}

TEST(PipeManager, KeepsThreeListenersBesideItsClients) {
    const auto name = unique_name();
    server host(name);
    client first(name);
    EXPECT_TRUE(reaches(first, 1 + 3));
    client second(name);
    EXPECT_TRUE(reaches(first, 2 + 3));
    host.stop();
}

TEST(PipeManager, BurstOfClientsIsServedAtOnceAndThePoolRetiresToThree) {
    const auto name = unique_name();
    server host(name);
    client observer(name);
    {
        std::vector<std::future<std::unique_ptr<client>>> burst;
        for (int i = 0; i < 64; ++i)
            burst.push_back(std::async(std::launch::async, [&] {
                auto guest = std::make_unique<client>(name);
                EXPECT_EQ(guest->ask(hello), hello);
                return guest;
            }));
        std::vector<std::unique_ptr<client>> guests;
        for (auto& each : burst) guests.push_back(each.get());
        EXPECT_GE(observer.instances(), 1u + 64u);
        for (auto& guest : guests) EXPECT_EQ(guest->ask(goodbye), goodbye);
    }
    EXPECT_TRUE(reaches(observer, 1 + 3));
    EXPECT_EQ(observer.ask(hello), hello);
    host.stop();
}

TEST(PipeManager, FailedConversationCostsItsOwnConnectionOnly) {
    const auto name = unique_name();
    server host(name);
    client bystander(name);
    for (int i = 0; i < 8; ++i) {
        client guest(name);
        guest.send({fail, 0x00});
        EXPECT_EQ(guest.receive(1), bytes());
    }
    EXPECT_EQ(bystander.ask(hello), hello);
    host.stop();
}

TEST(PipeManager, ClientsThatVanishCostNothing) {
    const auto name = unique_name();
    server host(name);
    client bystander(name);
    for (int i = 0; i < 8; ++i) {
        const client silent(name);
        client torn(name);
        torn.send({0x01, 0x7F, 'x'});
        client deaf(name);
        deaf.send({flood, 0x00});
    }
    EXPECT_EQ(bystander.ask(hello), hello);
    EXPECT_TRUE(reaches(bystander, 1 + 3));
    host.stop();
}

// The clients stay connected until the server has ended.
TEST(PipeManager, StopsWhateverItsClientsDo) {
    const struct {
        const char* what;
        bytes sent;
    } cases[] = {
        {"idle", {}},
        {"in the middle of a packet", {0x01, 0x10, 'x', 'y'}},
        {"in the middle of a length", {0x01, 0xC0}},
        {"in the middle of a long packet", {0x01, 0xDF, 0xFF, 0xFF, 0xFF, 'x'}},
        {"not reading a long answer", {flood, 0x00}},
        {"not reading the last answer", {quit, 0x00}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const auto name = unique_name();
        server host(name);
        std::vector<std::unique_ptr<client>> guests;
        for (int i = 0; i < 4; ++i) {
            guests.push_back(std::make_unique<client>(name));
            if (!each.sent.empty()) guests.back()->send(each.sent);
        }
        Sleep(150);
        host.stop();
        for (auto& guest : guests) EXPECT_THROW(guest->send(hello), std::runtime_error);
    }
}

TEST(PipeManager, StopBeforeTheStartStillSaysReadyAndEnds) {
    int ready_calls = 0;
    run_pipes({unique_name(), [] { return true; }, &echo}, [&] { ++ready_calls; });
    EXPECT_EQ(ready_calls, 1);
}

TEST(PipeManager, FirstWorkersFailureReachesTheCaller) {
    server host(std::wstring(1000, L'x'));
    try {
        host.wait();
        FAIL() << "a pipe of that name cannot be made";
    } catch (const win32_error_exception& error) {
        EXPECT_STREQ(error.what(), "Can't create pipe");
    }
}

test::failure failure_of_a_run() {
    return test::failure_of([] { run_pipes({unique_name(), [] { return false; }, &echo}, [] {}); });
}

TEST(PipeManager, ThreadThatCannotBeStartedReachesTheCaller) {
    const test::failing_call<decltype(_beginthreadex)> refusal("_beginthreadex");
    EXPECT_EQ(
        failure_of_a_run(),
        (test::failure{"Can't create thread",
                       "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::run_new_thread(const struct "
                       "qv::profiler::pdb_server::pipe_manager_params &)",
                       "pdb_server/src/pipe_manager",
                       {}}));
}

TEST(PipeManager, WorkerWithoutComReachesTheCaller) {
    const test::failing_call<decltype(CoInitializeEx)> refusal("CoInitializeEx", 1, E_FAIL);
    EXPECT_EQ(
        failure_of_a_run(),
        (test::failure{"Can't initialize COM",
                       "unsigned int __cdecl qv::profiler::pdb_server::`anonymous-namespace'::do_work_thread(void *)",
                       "pdb_server/src/pipe_manager",
                       {}}));
}

TEST(PipeManager, FailureOfTheReadySignalEndsTheServer) {
    server host(unique_name(), [] { throw std::runtime_error("cannot signal"); });
    EXPECT_THROW(host.wait(), std::runtime_error);
}

TEST(PipeManager, ShortageOfInstancesIsSurvived) {
    const auto name = unique_name();
    // The first instance says how many there may be. It is taken by a client of the test's own.
    const handle_hld first(valid_handle_or_null(
        CreateNamedPipeW((L"\\\\.\\pipe\\" + name).c_str(), PIPE_ACCESS_DUPLEX, 0, 2, 256, 256, 1000, nullptr)));
    ASSERT_TRUE(first);
    const client own(name);
    server host(name);
    for (int i = 0; i < 3; ++i) {
        client guest(name);
        EXPECT_EQ(guest.ask(hello), hello);
        EXPECT_EQ(guest.ask(goodbye), goodbye);
        Sleep(150);
    }
    host.stop();
}

// The log of one run, as records by thread, thread identifiers left out and figures replaced by "#".
class log_file {
public:
    log_file() { log::Logger::instance().open(path_); }
    ~log_file() {
        boost::system::error_code ignored;
        boost::filesystem::remove(path_, ignored);
    }

    std::map<std::string, std::vector<std::string>> finish() {
        log::Logger::instance().close();
        std::map<std::string, std::vector<std::string>> records;
        std::ifstream file(path_.native().c_str());
        const std::regex host_record("([0-9A-F]{8}) (S::.*?)\\r?");
        const std::regex figure("=[0-9]+");
        std::smatch match;
        for (std::string line; std::getline(file, line);)
            if (std::regex_match(line, match, host_record))
                records[match[1]].push_back(std::regex_replace(match[2].str(), figure, "=#"));
        return records;
    }

private:
    boost::filesystem::path path_ = boost::filesystem::temp_directory_path() / (unique_name() + L".log");
};

TEST(PipeManager, RecordsEveryStepOfARun) {
    const auto name = unique_name();
    log_file file;
    {
        server host(name);
        client guest(name);
        EXPECT_EQ(guest.ask(goodbye), goodbye);
        EXPECT_EQ(guest.receive(1), bytes());
        host.stop();
    }
    const auto records = file.finish();

    using namespace testing;
    EXPECT_THAT(records,
                Contains(Pair(_, AllOf(Contains("S::RunPipes res=starting"), Contains("S::RunPipes res=started"),
                                       Contains("S::RunNewThread res=ok c=#"), Contains("S::RunPipes res=shutdowning"),
                                       Contains("S::RunPipes res=shutdow shutdownTimeInMs=#")))));
    EXPECT_THAT(records,
                Contains(Pair(_, ElementsAre("S::WorkThread res=started", "S::WorkThread res=listen",
                                             "S::WorkThread res=connected", "S::RunNewThread res=ok c=#",
                                             "S::WorkThread res=disconnected", "S::WorkThread res=exited c=#"))));
    const auto exited = std::count_if(records.begin(), records.end(), [](const auto& each) {
        return each.second.back() == "S::WorkThread res=exited c=#";
    });
    EXPECT_EQ(static_cast<std::size_t>(exited), records.size() - 1)
        << "every thread but the manager's is a worker that has ended";
}

}  // namespace
}  // namespace qv::profiler::pdb_server
