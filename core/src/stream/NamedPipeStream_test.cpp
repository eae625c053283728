#include "core/src/stream/NamedPipeStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <numeric>
#include <string>
#include <vector>

#include "qv/diagnostics/exception.h"
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
        EXPECT_STREQ(error.where().source, "core/src/Stream/NamedPipeStream");
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

// A connected pair; the server end knows a stop event.
class NamedPipe : public testing::Test {
protected:
    void SetUp() override {
        create(server_, true);
        create(client_, false);
        ASSERT_TRUE(server_.Connect(0));
    }

    // Gives a started operation the time to get stuck; a test that is too fast here still passes.
    static void let_it_block() { Sleep(50); }

    handle_hld stop_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    NamedPipeStream server_{stop_.get()};
    NamedPipeStream client_;
    const std::string aborted_ = "Failed to wait operation to be completed (995)";
};

TEST(ClosedNamedPipe, EveryOperationNamesTheFault) {
    NamedPipeStream stream;
    unsigned char byte = 0;
    const struct {
        const char* message;
        std::function<void()> action;
    } cases[] = {
        {"Pipe is closed", [&] { stream.Connect(0); }},
        {"Pipe is closed", [&] { stream.Flush(); }},
        {"Pipe is closed", [&] { stream.Disconnect(); }},
        {"Pipe has been closed", [&] { stream.WaitForDataToRead(0); }},
        {"Pipe has been closed", [&] { stream.Read(&byte, 1); }},
        {"Pipe has been closed", [&] { stream.Write(&byte, 1); }},
    };
    for (const auto& each : cases) EXPECT_EQ(failure_of(each.action), each.message);
    create(stream, true);
    stream.Close();
    for (const auto& each : cases) EXPECT_EQ(failure_of(each.action), each.message) << "after Close";
}

TEST_F(NamedPipe, SecondCreateIsRefused) {
    EXPECT_EQ(failure_of([&] { create(server_, true, L"qv_other"); }), "Can't open pipe twice");
}

TEST_F(NamedPipe, ClientEndIsNoServer) {
    EXPECT_EQ(failure_of([&] { client_.Connect(0); }), "Server side call");
    EXPECT_EQ(failure_of([&] { client_.Disconnect(); }), "Server side call");
}

TEST(ListeningNamedPipe, RefusedNameCarriesTheCode) {
    NamedPipeStream stream;
    EXPECT_THAT(failure_of([&] { create(stream, true, std::wstring(1000, L'x')); }),
                testing::StartsWith("Can't create pipe ("));
    EXPECT_EQ(failure_of([&] { create(stream, false, L"qv_nobody_listens_here"); }), "Can't create pipe (2)");
}

TEST(ListeningNamedPipe, ConnectWithoutClientReturnsFalse) {
    NamedPipeStream stream;
    create(stream, true);
    EXPECT_FALSE(stream.Connect(0));
    EXPECT_FALSE(stream.Connect(150));
}

TEST(ListeningNamedPipe, ClientThatComesAtAnyMomentIsSeenOnce) {
    NamedPipeStream stream;
    create(stream, true);
    const std::wstring name = unique_name();
    // Around the end of the first step of 100 ms, where the cancellation races with the client.
    for (DWORD delay = 92; delay <= 108; delay += 2) {
        auto client = start([&] {
            Sleep(delay);
            NamedPipeStream end;
            create(end, false, name);
            end.Write("c", 1);
            char answer = 0;
            end.Read(&answer, 1);
            EXPECT_EQ(answer, 's');
        });
        while (!stream.Connect(0)) {
        }
        char request = 0;
        stream.Read(&request, 1);
        EXPECT_EQ(request, 'c');
        stream.Write("s", 1);
        EXPECT_EQ(client.get(), "");
        stream.Disconnect();
    }
}

// What the stream is told of its operations, which are real and over by then.
struct told_outcome {
    static inline void* real = nullptr;
    static inline BOOL result = TRUE;

    static BOOL WINAPI tell(HANDLE pipe, OVERLAPPED* operation, DWORD* transferred, BOOL wait) {
        reinterpret_cast<decltype(&GetOverlappedResult)>(real)(pipe, operation, transferred, wait);
        *transferred = 0;
        SetLastError(ERROR_GEN_FAILURE);
        return result;
    }

    explicit told_outcome(BOOL told) : import("GetOverlappedResult", reinterpret_cast<void*>(&tell)) {
        real = import.original();
        result = told;
    }

    test::replaced_import import;
};

TEST_F(NamedPipe, TransferOfNoBytesIsAFailure) {
    client_.Write("ab", 2);
    const told_outcome nothing(TRUE);
    char byte = 0;
    EXPECT_EQ(failure_of([&] { server_.Read(&byte, 1); }), "No data to read");
    EXPECT_EQ(failure_of([&] { server_.Write(&byte, 1); }), "Zero length data has been written");
}

TEST_F(NamedPipe, OutcomeThatCannotBeHadIsAFailure) {
    client_.Write("ab", 2);
    NamedPipeStream listening;
    create(listening, true);
    const told_outcome failure(FALSE);
    char byte = 0;
    const std::string message = "Failed to wait operation to be completed (31)";
    EXPECT_EQ(failure_of([&] { server_.Read(&byte, 1); }), message);
    EXPECT_EQ(failure_of([&] { server_.Write(&byte, 1); }), message);
    EXPECT_EQ(failure_of([&] { listening.Connect(0); }), message);
}

TEST_F(NamedPipe, RefusedCallsCarryTheCode) {
    NamedPipeStream unopened;
    {
        const test::failing_call<decltype(CreateEventW)> no_event("CreateEventW");
        EXPECT_EQ(failure_of([&] { create(unopened, true); }), "Can't create pipe (8)");
    }
    {
        const test::failing_call<decltype(DisconnectNamedPipe)> no_disconnect("DisconnectNamedPipe");
        EXPECT_EQ(failure_of([&] { server_.Disconnect(); }), "Can't connect named pipe (8)");
    }
    const test::failing_call<decltype(FlushFileBuffers)> no_flush("FlushFileBuffers");
    EXPECT_EQ(failure_of([&] { server_.Flush(); }), "Can't flush named pipe (8)");
}

TEST_F(NamedPipe, WaitForDataSeesAByteWithoutTakingIt) {
    EXPECT_FALSE(server_.WaitForDataToRead(0));
    EXPECT_FALSE(server_.WaitForDataToRead(20));
    client_.Write("a", 1);
    EXPECT_TRUE(server_.WaitForDataToRead(0));
    EXPECT_TRUE(server_.WaitForDataToRead(0));
    char byte = 0;
    server_.Read(&byte, 1);
    EXPECT_EQ(byte, 'a');
    EXPECT_FALSE(server_.WaitForDataToRead(0));
}

TEST_F(NamedPipe, TransferOfNothingIsNoOperation) {
    server_.Read(nullptr, 0);
    server_.Write(nullptr, 0);
    EXPECT_FALSE(client_.WaitForDataToRead(0));
}

TEST(ListeningNamedPipe, LongWriteGoesOutInPartsOf16384) {
    NamedPipeStream server;
    create(server, true);
    const handle_hld client(valid_handle_or_null(
        CreateFileW((L"\\\\.\\pipe\\" + unique_name()).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
    ASSERT_TRUE(client);
    const bytes sent = pattern(40000);
    auto writer = start([&] { server.Write(sent.data(), sent.size()); });
    bytes received;
    // Each part is larger than the pipe's buffer, so the next one comes only when it has been taken.
    for (const DWORD part : {16384u, 16384u, 7232u}) {
        DWORD available = 0;
        for (int tries = 0; tries < 500 && available < part; ++tries) {
            Sleep(10);
            ASSERT_TRUE(PeekNamedPipe(client.get(), nullptr, 0, nullptr, &available, nullptr));
        }
        EXPECT_EQ(available, part);
        bytes block(part);
        DWORD transferred = 0;
        ASSERT_TRUE(ReadFile(client.get(), block.data(), part, &transferred, nullptr));
        ASSERT_EQ(transferred, part);
        received.insert(received.end(), block.begin(), block.end());
    }
    EXPECT_EQ(writer.get(), "");
    EXPECT_EQ(received, sent);
}

TEST_F(NamedPipe, ReadCollectsManyWrites) {
    const bytes sent = pattern(40000);
    auto writer = start([&] {
        for (std::size_t done = 0; done < sent.size(); done += 100) client_.Write(sent.data() + done, 100);
    });
    bytes received(sent.size());
    server_.Read(received.data(), received.size());
    EXPECT_EQ(writer.get(), "");
    EXPECT_EQ(received, sent);
}

TEST_F(NamedPipe, FlushKeepsUnreadBytesFromTheDisconnect) {
    const bytes sent = pattern(200);
    auto server = start([&] {
        server_.Write(sent.data(), sent.size());
        server_.Flush();
        server_.Disconnect();
    });
    let_it_block();
    bytes received(sent.size());
    client_.Read(received.data(), received.size());
    EXPECT_EQ(received, sent);
    EXPECT_EQ(server.get(), "");
}

TEST_F(NamedPipe, InstanceTakesTheNextClientAfterDisconnect) {
    server_.Disconnect();
    unsigned char byte = 0;
    EXPECT_NE(failure_of([&] { client_.Read(&byte, 1); }), "");
    auto next = start([name = unique_name()] {
        // Until the server listens again the system refuses with ERROR_PIPE_BUSY.
        WaitNamedPipeW((L"\\\\.\\pipe\\" + name).c_str(), 5000);
        NamedPipeStream end;
        create(end, false, name);
        end.Write("n", 1);
        char answer = 0;
        end.Read(&answer, 1);
    });
    while (!server_.Connect(0)) {
    }
    server_.Read(&byte, 1);
    EXPECT_EQ(byte, 'n');
    server_.Write("y", 1);
    EXPECT_EQ(next.get(), "");
}

TEST(ListeningNamedPipe, ClientThatCameAndLeftIsAFailureThatDisconnectClears) {
    NamedPipeStream server;
    create(server, true);
    {
        NamedPipeStream client;
        create(client, false);
    }
    EXPECT_EQ(failure_of([&] { server.Connect(0); }), "Can't connect named pipe (232)");
    server.Disconnect();
    EXPECT_FALSE(server.Connect(0));
}

TEST_F(NamedPipe, ClientThatHasGoneIsAFailureEverywhere) {
    client_.Write("ab", 2);
    client_.Close();
    // What it said before it left still counts.
    unsigned char byte = 0;
    EXPECT_TRUE(server_.WaitForDataToRead(0));
    server_.Read(&byte, 1);
    server_.Read(&byte, 1);
    EXPECT_EQ(failure_of([&] { server_.WaitForDataToRead(1000); }), "Failed to check data for reading (109)");
    EXPECT_EQ(failure_of([&] { server_.Read(&byte, 1); }), "Can't read data (109)");
    EXPECT_THAT(failure_of([&] { server_.Write(&byte, 1); }), testing::StartsWith("Can't write data ("));
}

TEST_F(NamedPipe, ClientThatGoesInTheMiddleEndsTheRead) {
    client_.Write("abc", 3);
    char bytes_of_packet[8];
    auto reader = start([&] { server_.Read(bytes_of_packet, sizeof bytes_of_packet); });
    let_it_block();
    client_.Close();
    EXPECT_THAT(reader.get(),
                testing::AnyOf("Failed to wait operation to be completed (109)", "Can't read data (109)"));
}

TEST_F(NamedPipe, StopEndsABlockedRead) {
    client_.Write("abc", 3);
    char bytes_of_packet[8];
    auto reader = start([&] { server_.Read(bytes_of_packet, sizeof bytes_of_packet); });
    let_it_block();
    SetEvent(stop_.get());
    EXPECT_EQ(reader.get(), aborted_);
}

TEST_F(NamedPipe, StopEndsABlockedWrite) {
    const bytes sent = pattern(100000);
    auto writer = start([&] { server_.Write(sent.data(), sent.size()); });
    let_it_block();
    SetEvent(stop_.get());
    EXPECT_EQ(writer.get(), aborted_);
}

TEST_F(NamedPipe, StopEndsABlockedFlush) {
    server_.Write("abc", 3);
    auto flusher = start([&] { server_.Flush(); });
    let_it_block();
    EXPECT_EQ(flusher.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    SetEvent(stop_.get());
    EXPECT_EQ(flusher.get(), "Can't flush named pipe (995)");
    server_.Disconnect();
}

TEST_F(NamedPipe, StopEndsAReadThatIsNeverShortOfData) {
    auto writer = start([&] {
        const bytes flood = pattern(16384);
        for (;;) client_.Write(flood.data(), flood.size());
    });
    SetEvent(stop_.get());
    bytes received(64 * 16384);
    EXPECT_EQ(failure_of([&] { server_.Read(received.data(), received.size()); }), aborted_);
    server_.Disconnect();
    EXPECT_NE(writer.get(), "");
}

TEST_F(NamedPipe, AfterStopWhatNeedsNoWaitingStillWorks) {
    client_.Write("a", 1);
    SetEvent(stop_.get());
    char byte = 0;
    server_.Read(&byte, 1);
    EXPECT_EQ(byte, 'a');
    server_.Write("b", 1);
    server_.Flush();  // nobody reads, and nobody is waited for
    client_.Read(&byte, 1);
    EXPECT_EQ(byte, 'b');
}

}  // namespace
}  // namespace qv
