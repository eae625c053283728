#include "core/stream/NamedPipeStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <numeric>
#include <string>
#include <vector>

#include "base/exception.h"
#include "core/stream/synchronous_io_canceller.h"
#include "tests/support/calls/replaced_import.h"

namespace qv {
namespace {

using bytes = std::vector<unsigned char>;

std::wstring unique_name() {
    const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
    return L"qv_pipe_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::wstring(test.begin(), test.end());
}

void create(NamedPipeStream& stream, bool server_end, const std::wstring& name = unique_name()) {
    stream.Create(name, file_access::read_write, server_end, NamedPipeStream::unlimited_instances,
                  NamedPipeStream::buffer_size, NamedPipeStream::buffer_size, NamedPipeStream::default_time_out,
                  nullptr);
}

// "message" or "message (code)" of the failure, "" where there is none.
std::string failure_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const exception& error) {
        const auto* code = error.find<errtag_win32_error>();
        return std::string(error.what()) + (code != nullptr ? " (" + std::to_string(*code) + ")" : "");
    }
    return "";
}

std::future<std::string> start(std::function<void()> action) {
    return std::async(std::launch::async, [action = std::move(action)] { return failure_of(action); });
}

bytes pattern(std::size_t size) {
    bytes result(size);
    std::iota(result.begin(), result.end(), static_cast<unsigned char>(1));
    return result;
}

constexpr const char* aborted = "Failed to wait operation to be completed (995)";

// A connected pair; the server end knows a stop event.
class NamedPipe : public testing::Test {
protected:
    void SetUp() override {
        create(server_, true);
        create(client_, false);
        ASSERT_TRUE(server_.Connect(0));
    }

    void serve_next_client() {
        server_.Disconnect();
        client_.Close();
        auto next = start([this, name = unique_name()] {
            // Until the server listens again the system refuses with ERROR_PIPE_BUSY.
            WaitNamedPipeW((L"\\\\.\\pipe\\" + name).c_str(), 5000);
            create(client_, false, name);
        });
        while (!server_.Connect(0)) {
        }
        EXPECT_EQ(next.get(), "");
    }

    // Gives a started operation the time to get stuck; a test that is too fast here still passes.
    static void let_it_block() { Sleep(50); }

    handle_hld stop_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    NamedPipeStream server_{stop_.get()};
    NamedPipeStream client_;
};

TEST(ClosedNamedPipe, EveryOperationNamesTheFault) {
    NamedPipeStream stream;
    unsigned char byte = 0;
    create(stream, true);
    EXPECT_EQ(failure_of([&] { create(stream, true, L"qv_other"); }), "Can't open pipe twice");
    stream.Close();
    const std::function<void()> of_the_pipe[] = {[&] { stream.Connect(0); }, [&] { stream.Flush(); },
                                                 [&] { stream.Disconnect(); }};
    const std::function<void()> of_its_data[] = {[&] { stream.WaitForDataToRead(0); }, [&] { stream.Read(&byte, 1); },
                                                 [&] { stream.Write(&byte, 1); }};
    for (const auto& action : of_the_pipe) EXPECT_EQ(failure_of(action), "Pipe is closed");
    for (const auto& action : of_its_data) EXPECT_EQ(failure_of(action), "Pipe has been closed");
    EXPECT_EQ(failure_of([&] { create(stream, false, L"qv_nobody_listens_here"); }), "Can't create pipe (2)");
}

TEST(ListeningNamedPipe, ClientThatComesAtAnyMomentIsSeenOnce) {
    NamedPipeStream stream;
    create(stream, true);
    EXPECT_FALSE(stream.Connect(0));
    const std::wstring name = unique_name();
    // Around the end of the first step of 100 ms, where the cancellation races with the client.
    for (DWORD delay = 92; delay <= 108; delay += 2) {
        std::future<std::string> client;
        std::promise<void> served;  // a client that has left before it was seen is another matter
        client = start([&, until_served = served.get_future().share()] {
            Sleep(delay);
            NamedPipeStream end;
            create(end, false, name);
            end.Write("c", 1);
            until_served.wait();
        });
        while (!stream.Connect(0)) {
        }
        char request = 0;
        stream.Read(&request, 1);
        EXPECT_EQ(request, 'c');
        served.set_value();
        EXPECT_EQ(client.get(), "");
        stream.Disconnect();
    }
}

TEST_F(NamedPipe, RefusedCallsCarryTheCode) {
    char byte = 0;
    client_.Write("ab", 2);
    {
        const test::failing_call<decltype(GetOverlappedResult)> nothing("GetOverlappedResult", 1, TRUE);
        EXPECT_EQ(failure_of([&] { server_.Read(&byte, 1); }), "No data to read");
    }
    {
        const test::failing_call<decltype(GetOverlappedResult)> nothing("GetOverlappedResult", 1, TRUE);
        EXPECT_EQ(failure_of([&] { server_.Write(&byte, 1); }), "Zero length data has been written");
    }
    EXPECT_EQ(failure_of([&] { client_.Connect(0); }), "Server side call");
    EXPECT_EQ(failure_of([&] { client_.Disconnect(); }), "Server side call");
    {
        const test::failing_call<decltype(DisconnectNamedPipe)> no_disconnect("DisconnectNamedPipe");
        EXPECT_EQ(failure_of([&] { server_.Disconnect(); }), "Can't connect named pipe (8)");
    }
    {
        // The next call of the system succeeds and forgets this code.
        const test::failing_call<decltype(OpenThread)> no_thread("OpenThread");
        EXPECT_EQ(failure_of([&] { server_.Flush(); }), "Can't watch stop event (8)");
    }
    const test::failing_call<decltype(FlushFileBuffers)> no_flush("FlushFileBuffers");
    EXPECT_EQ(failure_of([&] { server_.Flush(); }), "Can't flush named pipe (8)");
}

// What the system was asked to call when the stop comes.
struct late_callback {
    static inline WAITORTIMERCALLBACK function;
    static inline void* context;

    static BOOL WINAPI register_wait(HANDLE* wait, HANDLE, WAITORTIMERCALLBACK asked, void* asked_context, ULONG,
                                     ULONG) {
        *wait = nullptr;
        function = asked;
        context = asked_context;
        return TRUE;
    }
};

// As Wine makes it now and then.
TEST(SynchronousIoCanceller, CallbackAfterTheEndTouchesNothing) {
    const test::replaced_import import("RegisterWaitForSingleObject",
                                       reinterpret_cast<void*>(&late_callback::register_wait));
    void* const page = VirtualAlloc(nullptr, sizeof(synchronous_io_canceller), MEM_COMMIT, PAGE_READWRITE);
    (new (page) synchronous_io_canceller(GetCurrentProcess(), 0))->~synchronous_io_canceller();
    VirtualFree(page, 0, MEM_RELEASE);
    late_callback::function(late_callback::context, FALSE);
}

TEST_F(NamedPipe, WhatAWaitHasTakenIsReadFirst) {
    const bytes sent = pattern(5000);  // more than a wait takes
    EXPECT_FALSE(server_.WaitForDataToRead(1));
    client_.Write(sent.data(), 100);
    EXPECT_TRUE(server_.WaitForDataToRead(60000));
    EXPECT_TRUE(server_.WaitForDataToRead(60000)) << "it is still there";
    auto client = start([&] {
        let_it_block();
        client_.Write(sent.data() + 100, sent.size() - 100);
    });
    bytes received(sent.size());
    server_.Read(received.data(), 1);
    server_.Read(received.data() + 1, received.size() - 2);
    EXPECT_TRUE(server_.WaitForDataToRead(60000));
    EXPECT_TRUE(server_.WaitForDataToRead(0));
    server_.Read(received.data() + received.size() - 1, 1);
    EXPECT_FALSE(server_.WaitForDataToRead(0));
    EXPECT_EQ(client.get(), "");
    EXPECT_TRUE(received == sent);
}

TEST_F(NamedPipe, NothingIsLostWhereAWaitEndsAsDataComes) {
    const bytes sent = pattern(200);
    auto client = start([&] {
        for (const unsigned char& byte : sent) {
            client_.Write(&byte, 1);
            Sleep(1);
        }
    });
    bytes received(sent.size());
    for (unsigned char& byte : received) {
        while (!server_.WaitForDataToRead(1)) {
        }
        server_.Read(&byte, 1);
    }
    EXPECT_EQ(client.get(), "");
    EXPECT_TRUE(received == sent);
}

TEST_F(NamedPipe, StopEndsAWaitForData) {
    auto waiting = start([&] { EXPECT_FALSE(server_.WaitForDataToRead(INFINITE)); });
    let_it_block();
    SetEvent(stop_.get());
    EXPECT_EQ(waiting.get(), "");
}

TEST_F(NamedPipe, WhatALeftClientSaidIsNotTheNextOnes) {
    client_.Write("abc", 3);
    EXPECT_TRUE(server_.WaitForDataToRead(60000));
    client_.Close();
    EXPECT_EQ(failure_of([&] { server_.WaitForDataToRead(0); }), "Failed to check data for reading (109)");
    serve_next_client();
    EXPECT_FALSE(server_.WaitForDataToRead(1));
}

TEST_F(NamedPipe, LongWriteGoesOutInPartsOf16384AlsoAfterTheStop) {
    const test::failing_call<decltype(WriteFile)> third_part("WriteFile", 3);
    const bytes sent = pattern(40000);
    auto writer = start([&] { server_.Write(sent.data(), sent.size()); });
    let_it_block();
    SetEvent(stop_.get());
    let_it_block();
    bytes received(2 * 16384);
    client_.Read(received.data(), received.size());
    let_it_block();
    EXPECT_FALSE(client_.WaitForDataToRead(0));
    client_.Close();
    EXPECT_EQ(writer.get(), "Can't write data (8)");
    EXPECT_EQ(received, bytes(sent.begin(), sent.begin() + 2 * 16384));
}

TEST(ListeningNamedPipe, ClientThatCameAndLeftIsAFailureThatDisconnectClears) {
    NamedPipeStream server, client;
    create(server, true);
    create(client, false);
    client.Close();
    EXPECT_EQ(failure_of([&] { server.Connect(0); }), "Can't connect named pipe (232)");
    server.Disconnect();
    EXPECT_FALSE(server.Connect(0));
}

TEST_F(NamedPipe, ClientThatHasGoneIsAFailureEverywhere) {
    client_.Write("abc", 3);
    // What it said before it left still counts.
    char byte = 0;
    bytes rest(8);
    server_.Read(&byte, 1);
    auto reader = start([&] { server_.Read(rest.data(), rest.size()); });
    let_it_block();
    client_.Close();
    EXPECT_THAT(reader.get(), testing::EndsWith("(109)"));
    EXPECT_EQ(failure_of([&] { server_.WaitForDataToRead(1000); }), "Failed to check data for reading (109)");
    EXPECT_EQ(failure_of([&] { server_.Read(&byte, 1); }), "Can't read data (109)");
    EXPECT_THAT(failure_of([&] { server_.Write(&byte, 1); }), testing::StartsWith("Can't write data ("));
}

// A clock with which nearly all of a connection's time passes after the first look, and one that runs on.
int looks = 0;

DWORD WINAPI late_tick() {
    return looks++ == 0 ? 0 : stop_grace::total_milliseconds - 100;
}

DWORD WINAPI running_tick() {
    static DWORD now = 0;
    return now += 200;
}

TEST_F(NamedPipe, AfterTheStopWhoNeverReadsIsCutOff) {
    const test::replaced_import clock("GetTickCount", reinterpret_cast<void*>(&late_tick));
    looks = 0;
    const bytes sent = pattern(100000);
    server_.Write("abc", 3);
    auto writer = start([&] { server_.Write(sent.data(), sent.size()); });
    let_it_block();
    SetEvent(stop_.get());
    EXPECT_EQ(writer.get(), aborted);
    // It has had its time: nothing waits for it any more.
    EXPECT_EQ(failure_of([&] { server_.Write(sent.data(), sent.size()); }), aborted);
    EXPECT_EQ(failure_of([&] { server_.Flush(); }), "");
    serve_next_client();
    // The next one has a time of its own.
    server_.Write("abc", 3);
    EXPECT_EQ(failure_of([&] { server_.Flush(); }), "Can't flush named pipe (995)");
}

TEST_F(NamedPipe, AfterTheStopWhoNeverEndsIsCutOff) {
    const test::replaced_import clock("GetTickCount", reinterpret_cast<void*>(&running_tick));
    const bytes flood = pattern(16384);
    SetEvent(stop_.get());
    auto client = start([&] {
        for (;;) client_.Write(flood.data(), flood.size());
    });
    // Its time is that of all transfers together.
    bytes received(2 * flood.size());
    EXPECT_EQ(failure_of([&] {
                  for (int i = 0; i < 64; ++i) server_.Read(received.data(), received.size());
              }),
              aborted);
    server_.Disconnect();
    EXPECT_NE(client.get(), "");
}

}  // namespace
}  // namespace qv
