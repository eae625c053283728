// A server with an echo for a conversation, driven by clients on the real pipe.
#include "pdb_server/src/pipe_manager.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <process.h>
#include <windows.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/holders.h"
#include "diagnostics/exception_test_support.h"
#include "tests/support/calls/replaced_import.h"
#include "tests/support/server/server_process.h"

namespace qv::profiler::pdb_server {
namespace {

using qv::testing::bytes;
using qv::testing::raw_client;

void echo(const std::function<bool()>& stop, const std::function<bool(int)>& wait, packet_reader* reader,
          packet_writer* writer) {
    bytes payload;
    while (!stop()) {
        if (!wait(100)) continue;
        const unsigned char code = reader->receive(&payload);
        writer->send(code, payload.size(), payload.data());
    }
}

std::wstring unique_name() {
    const std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    return L"qv_manager_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::wstring(test.begin(), test.end());
}

class server {
public:
    explicit server(
        const std::wstring& name, std::function<void()> ready = [] {}, pipe_name_use use = pipe_name_use::shared) {
        pipe_manager_params params{name, [this] { return stop_.load(); }, &echo};
        params.name = use;
        result_ = std::async(std::launch::async, [params, ready] { run_pipes(params, ready); });
    }
    ~server() { stop_ = true; }

    // Throws what run_pipes throws.
    void wait() { result_.get(); }

private:
    std::atomic<bool> stop_{false};
    std::future<void> result_;
};

const bytes hello = {0x01, 0x02, 'h', 'i'};

constexpr DWORD unlimited = 0xFFFFFFFF;

bool reaches(const raw_client& observer, DWORD least, DWORD most = unlimited) {
    for (int tries = 0; tries < 6000; ++tries) {
        if (observer.instances() >= least && observer.instances() <= most) return true;
        Sleep(10);
    }
    return false;
}

std::atomic<DWORD> test_clock{1000};

TEST(PipeManager, RefillsItsListenersAndRetiresTheSurplusAfterTheirTime) {
    const auto clock = std::make_unique<test::replaced_import>(
        "GetTickCount", reinterpret_cast<void*>(+[]() WINAPI -> DWORD { return test_clock; }));
    const auto name = unique_name();
    test_clock = 1000;
    server host(name);
    const raw_client observer(name);
    ASSERT_TRUE(reaches(observer, 1 + 3));
    {
        std::vector<raw_client> guests;
        for (int i = 0; i < 4; ++i) {
            guests.emplace_back(name);
            EXPECT_EQ(guests.back().exchange_for(hello, hello.size()), hello);
        }
        // Manager and workers may both see that a listener is missing, so that there is one too many for a while.
        ASSERT_TRUE(reaches(observer, 1 + 4 + 3));
    }
    Sleep(300);
    const DWORD full = observer.instances();
    // All have listened since the same moment. The pauses are long enough for a worker to retire that thinks it may.
    for (const DWORD listened : {0u, 2499u}) {
        test_clock = 1000 + listened;
        Sleep(300);
        EXPECT_EQ(observer.instances(), full) << listened;
    }
    test_clock = 1000 + 5000;
    EXPECT_TRUE(reaches(observer, 1 + 3, 1 + 3));
    Sleep(300);
    test_clock = 1000 + 50000;
    for (int tries = 0; tries < 30; ++tries, Sleep(10)) ASSERT_EQ(observer.instances(), 1u + 3u) << "three always stay";
}

TEST(PipeManager, SaysReadyOnceAlsoWhenTheStopComesFirst) {
    int ready_calls = 0;
    run_pipes({unique_name(), [] { return true; }, &echo}, [&] { ++ready_calls; });
    EXPECT_EQ(ready_calls, 1);
}

// A first worker that takes its time, and the turns of the manager until it was ready.
struct late_listener {
    static inline void* create_pipe;
    static inline std::atomic<int> turns;

    static void WINAPI sleep(DWORD) { ++turns; }
    static HANDLE WINAPI create_late(const wchar_t* name, DWORD a, DWORD b, DWORD c, DWORD d, DWORD e, DWORD f,
                                     SECURITY_ATTRIBUTES* security) {
        WaitForSingleObject(GetCurrentThread(), 50);
        return reinterpret_cast<decltype(&CreateNamedPipeW)>(create_pipe)(name, a, b, c, d, e, f, security);
    }
};

TEST(PipeManager, IsWokenByTheFirstWorkerThatListens) {
    const test::replaced_import sleep("Sleep", reinterpret_cast<void*>(&late_listener::sleep));
    const test::replaced_import create("CreateNamedPipeW", reinterpret_cast<void*>(&late_listener::create_late));
    late_listener::create_pipe = create.original();
    int turns = -1;
    run_pipes({unique_name(), [&] { return turns >= 0; }, &echo}, [&] { turns = late_listener::turns; });
    EXPECT_EQ(turns, 0);
}

// What run_pipes ends with, for a server that nobody stops.
std::string failure_of_a_run(const std::wstring& name = unique_name(), pipe_name_use use = pipe_name_use::shared) {
    return test::message_of([&] {
        run_pipes({name, [] { return false; }, &echo, client_range::everywhere, use}, [] {});
    });
}

TEST(PipeManager, WhatKeepsTheFirstWorkerFromListeningReachesTheCaller) {
    EXPECT_EQ(failure_of_a_run(std::wstring(1000, L'x')), "Can't create pipe");
    {
        const test::failing_call<decltype(_beginthreadex)> refusal("_beginthreadex");
        EXPECT_EQ(failure_of_a_run(), "Can't create thread");
    }
    const test::failing_call<decltype(CoInitializeEx)> refusal("CoInitializeEx", 1, E_FAIL);
    EXPECT_EQ(failure_of_a_run(), "Can't initialize COM");
}

// What each instance was asked to be; the real call follows. Wine lets remote clients in or not as its host is set up.
TEST(PipeManager, RejectsClientsOfOtherMachinesWhereItIsToldTo) {
    static std::atomic<DWORD> mode;
    for (const auto& [clients, expected] : {std::pair{client_range::everywhere, DWORD{0}},
                                            std::pair{client_range::this_machine, DWORD{PIPE_REJECT_REMOTE_CLIENTS}}}) {
        const test::replaced_import import(
            "CreateNamedPipeW", reinterpret_cast<void*>(+[](LPCWSTR, DWORD, DWORD asked, DWORD, DWORD, DWORD, DWORD,
                                                            SECURITY_ATTRIBUTES*) WINAPI -> HANDLE {
                mode = asked;
                return INVALID_HANDLE_VALUE;
            }));
        run_pipes({unique_name(), [] { return true; }, &echo, clients}, [] {});
        EXPECT_EQ(mode, expected);
    }
}

TEST(PipeManager, JoinsNoPipeOfAStrangerWhereItIsToldNotTo) {
    const auto name = unique_name();
    {
        const handle_hld stranger(
            valid_handle_or_null(CreateNamedPipeW((L"\\\\.\\pipe\\" + name).c_str(), PIPE_ACCESS_DUPLEX, 0,
                                                  PIPE_UNLIMITED_INSTANCES, 256, 256, 1000, nullptr)));
        ASSERT_TRUE(stranger);
        EXPECT_EQ(failure_of_a_run(name, pipe_name_use::new_only), "Pipe name is taken by another process");
    }
    server host(
        name, [] {}, pipe_name_use::new_only);
    std::vector<raw_client> guests;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(guests.emplace_back(name).exchange_for(hello, hello.size()), hello);
}

// A system that gives the server one instance at a time, and only for a name that nobody has.
TEST(PipeManager, WantsItsNameAnewWhenItsLastInstanceHasGone) {
    static void* create_pipe;
    const test::replaced_import import(
        "CreateNamedPipeW", reinterpret_cast<void*>(+[](LPCWSTR name, DWORD mode, DWORD b, DWORD c, DWORD d, DWORD e,
                                                        DWORD f, SECURITY_ATTRIBUTES* security) WINAPI -> HANDLE {
            if ((mode & FILE_FLAG_FIRST_PIPE_INSTANCE) == 0) return INVALID_HANDLE_VALUE;
            return reinterpret_cast<decltype(&CreateNamedPipeW)>(create_pipe)(name, mode, b, c, d, e, f, security);
        }));
    create_pipe = import.original();
    const test::failing_call<decltype(DisconnectNamedPipe)> refusal("DisconnectNamedPipe");
    const auto name = unique_name();
    server host(
        name, [] {}, pipe_name_use::new_only);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(raw_client(name).exchange_for(hello, hello.size()), hello);
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
    const raw_client own(name);
    server host(name);
    for (int i = 0; i < 3; ++i) {
        raw_client guest(name);
        EXPECT_EQ(guest.exchange_for(hello, hello.size()), hello);
        Sleep(150);
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_server
