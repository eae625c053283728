#include "pdb_client/library/pipe_connection.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <thread>

#include "base/exception.h"
#include "pdb_client/library/pipe_name.h"

namespace qv::profiler::pdb_client {
namespace {

using std::chrono::milliseconds;
using namespace ::testing;

constexpr milliseconds plenty{20000};
constexpr milliseconds moment{50};

auto fails_with(const char* message, std::uint32_t code) {
    const auto code_of = [](const win32_error_exception& error) { return *error.find<errtag_win32_error>(); };
    return Throws<win32_error_exception>(
        AllOf(Property(&std::exception::what, StrEq(message)), ResultOf(code_of, code)));
}

// One byte-stream pipe instance, made here and served by blocking calls.
class PipeConnection : public testing::Test {
protected:
    handle_hld create_instance() {
        return handle_hld(::CreateNamedPipeW(pipe_name(id).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT, 1,
                                             256, 256, 1000, nullptr));
    }
    auto connecting_to(const std::wstring& to) {
        return [to] { pipe_connection(to, {moment, moment}); };
    }

    std::wstring id = L"qv_pipe_connection_test_" + std::to_wstring(::GetCurrentProcessId());
};

TEST_F(PipeConnection, WaitsForAnInstanceAndGivesUp) {
    EXPECT_THAT(connecting_to(id), fails_with("Can't connect to the server", ERROR_FILE_NOT_FOUND));
    handle_hld instance;
    std::thread server([&] {
        ::Sleep(100);
        instance = create_instance();
    });
    pipe_connection(id, {plenty, plenty});
    server.join();
    EXPECT_THAT(connecting_to(id), fails_with("Can't connect to the server", ERROR_PIPE_BUSY));
}

TEST_F(PipeConnection, IdsThatLeadElsewhereAreRefused) {
    for (const std::wstring& bad : {std::wstring(), std::wstring(L"..\\C:\\file"), std::wstring(L"a/b"),
                                    std::wstring(L"a\0b", 3), std::wstring(241, L'a')})
        EXPECT_THAT(connecting_to(bad), ThrowsMessage<std::exception>("Invalid pipe identifier"));
}

TEST_F(PipeConnection, ReadsWhatCameInPiecesAndInOneBlock) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, plenty});
    const std::string sent = "abc" + std::string(100000, 'x') + "de";
    std::thread server([&] {
        DWORD written = 0;
        ::WriteFile(instance.get(), sent.data(), 2, &written, nullptr);
        ::WriteFile(instance.get(), sent.data() + 2, static_cast<DWORD>(sent.size() - 2), &written, nullptr);
    });
    std::string got(sent.size(), '\0');
    std::size_t position = 0;
    for (const std::size_t size : {std::size_t{1}, std::size_t{2}, sent.size() - 5, std::size_t{2}}) {
        connection.Read(got.data() + position, size);
        position += size;
    }
    EXPECT_EQ(got, sent);
    server.join();
}

// A listener that is retiring takes a client and leaves it without a word; others answer with what they get.
TEST_F(PipeConnection, ConnectionThatEndsBeforeAnAnswerIsMadeOnceMore) {
    const auto converse = [this](int retiring, int answering) {
        const handle_hld instance = create_instance();
        std::atomic<int> taken = 0;
        const auto server = std::async(std::launch::async, [&] {
            while (taken < retiring + answering) {
                char bytes[4];
                DWORD moved = 0;
                ::ConnectNamedPipe(instance.get(), nullptr);
                if (++taken > retiring && ::ReadFile(instance.get(), bytes, 4, &moved, nullptr) &&
                    ::WriteFile(instance.get(), bytes, moved, &moved, nullptr))
                    ::FlushFileBuffers(instance.get());
                ::DisconnectNamedPipe(instance.get());
            }
        });
        std::string got = "none";
        EXPECT_ANY_THROW({
            pipe_connection connection(id, {plenty, plenty});
            connection.Write("ques", 4);
            connection.Read(got.data(), 4);
            connection.Read(got.data(), 4);
        });
        got += " of " + std::to_string(taken);
        taken += answering;  // enough
        while (server.wait_for(moment) != std::future_status::ready)
            handle_hld(valid_handle_or_null(
                ::CreateFileW(pipe_name(id).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
        return got;
    };
    EXPECT_EQ(converse(1, 1), "ques of 2");
    EXPECT_EQ(converse(2, 1), "none of 2") << "once is enough";
    EXPECT_EQ(converse(0, 2), "ques of 1") << "the answer has begun";
}

// The time is that of the answer, however the server spreads it.
TEST_F(PipeConnection, ServerThatDribblesOrIsSilentIsGivenUp) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, milliseconds(200)});
    std::thread server([&] {
        DWORD written = 0;
        while (::WriteFile(instance.get(), "x", 1, &written, nullptr)) ::Sleep(20);
    });
    std::string bytes(100000, '\0');
    EXPECT_THAT([&] { connection.Read(bytes.data(), bytes.size()); },
                fails_with("Can't read from the server", ERROR_TIMEOUT));
    ::DisconnectNamedPipe(instance.get());
    server.join();
}

TEST_F(PipeConnection, ServerThatDoesNotReadIsGivenUpAndOneThatHangsUpIsAnError) {
    handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, moment});
    const std::string much(10'000'000, 'x');
    EXPECT_THAT([&] { connection.Write(much.data(), much.size()); },
                fails_with("Can't write to the server", ERROR_TIMEOUT));
    instance.reset();
    char byte = 0;
    EXPECT_THAT([&] { connection.Read(&byte, 1); }, fails_with("Can't read from the server", ERROR_BROKEN_PIPE));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
