#include "pdb_client/library/pipe_connection.h"

#include <gmock/gmock.h>

#include <functional>
#include <thread>

#include "pdb_client/library/pipe_name.h"
#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_client {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds plenty{20000};
constexpr milliseconds moment{50};

// One byte-stream pipe instance, made here and served by blocking calls.
class PipeConnection : public testing::Test {
protected:
    handle_hld create_instance(DWORD instances = 1) {
        return handle_hld(::CreateNamedPipeW(pipe_name(id).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT,
                                             instances, 256, 256, 1000, nullptr));
    }

    static void put(HANDLE pipe, std::string_view bytes) {
        DWORD written = 0;
        ASSERT_TRUE(::WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    }

    std::wstring id = L"qv_pipe_connection_test_" + std::to_wstring(::GetCurrentProcessId()) + L"_" +
                      std::to_wstring(reinterpret_cast<std::uintptr_t>(this));
};

// The message and the Win32 code of what the action throws.
std::pair<std::string, std::uint32_t> thrown_by(const std::function<void()>& action) {
    try {
        action();
    } catch (const win32_error_exception& error) {
        return {error.what(), *error.find<errtag_win32_error>()};
    } catch (const std::exception& error) {
        return {error.what(), 0};
    }
    return {};
}

TEST_F(PipeConnection, NobodyThere) {
    EXPECT_EQ(thrown_by([&] {
                  pipe_connection(id, {moment, moment});
              }),
              std::make_pair(std::string("Can't connect to the server"), std::uint32_t{ERROR_FILE_NOT_FOUND}));
}

TEST_F(PipeConnection, AllInstancesBusy) {
    const handle_hld instance = create_instance();
    pipe_connection first(id, {plenty, plenty});
    EXPECT_EQ(thrown_by([&] {
                  pipe_connection(id, {moment, moment});
              }),
              std::make_pair(std::string("Can't connect to the server"), std::uint32_t{ERROR_PIPE_BUSY}));
}

TEST_F(PipeConnection, WaitsForAPipeThatComesLater) {
    handle_hld instance;
    std::thread server([&] {
        ::Sleep(100);
        instance = create_instance();
    });
    EXPECT_EQ(thrown_by([&] { pipe_connection(id, {plenty, plenty}); }).first, "");
    server.join();
}

TEST_F(PipeConnection, IdsThatLeadElsewhereAreRefused) {
    for (const std::wstring& bad : {std::wstring(), std::wstring(L"..\\C:\\file"), std::wstring(L"a/b"),
                                    std::wstring(L"a\0b", 3), std::wstring(241, L'a')})
        EXPECT_EQ(thrown_by([&] { pipe_connection(bad, {moment, moment}); }).first, "Invalid pipe identifier");
}

TEST_F(PipeConnection, ReadsWhatCameInPiecesAndInOneBlock) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, plenty});
    const std::string block(100000, 'x');
    std::thread server([&] {
        put(instance.get(), "ab");
        put(instance.get(), "c" + block + "de");
    });
    std::string got(3 + block.size(), '\0');
    connection.Read(got.data(), 1);
    connection.Read(got.data() + 1, 2);
    connection.Read(got.data() + 3, block.size());
    EXPECT_EQ(got, "abc" + block);
    connection.Read(got.data(), 2);
    EXPECT_EQ(got.substr(0, 2), "de");
    server.join();
}

TEST_F(PipeConnection, ServerThatIsSilentIsGivenUp) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, moment});
    char byte = 0;
    EXPECT_EQ(thrown_by([&] { connection.Read(&byte, 1); }),
              std::make_pair(std::string("Can't read from the server"), std::uint32_t{ERROR_TIMEOUT}));
}

TEST_F(PipeConnection, ServerThatDribblesCannotStretchTheTime) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, milliseconds(200)});
    std::thread server([&] {
        DWORD written = 0;
        while (::WriteFile(instance.get(), "x", 1, &written, nullptr)) ::Sleep(20);
    });
    std::string bytes(100000, '\0');
    const auto thrown = thrown_by([&] { connection.Read(bytes.data(), bytes.size()); });
    ::DisconnectNamedPipe(instance.get());
    server.join();
    EXPECT_EQ(thrown, std::make_pair(std::string("Can't read from the server"), std::uint32_t{ERROR_TIMEOUT}));
}

TEST_F(PipeConnection, ServerThatDoesNotReadIsGivenUp) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, moment});
    const std::string much(10'000'000, 'x');
    EXPECT_EQ(thrown_by([&] { connection.Write(much.data(), much.size()); }),
              std::make_pair(std::string("Can't write to the server"), std::uint32_t{ERROR_TIMEOUT}));
}

TEST_F(PipeConnection, ServerThatHangsUpIsAnError) {
    handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, plenty});
    instance.reset();
    char byte = 0;
    EXPECT_EQ(thrown_by([&] { connection.Read(&byte, 1); }),
              std::make_pair(std::string("Can't read from the server"), std::uint32_t{ERROR_BROKEN_PIPE}));
}

TEST_F(PipeConnection, ServerCannotActInTheClientsName) {
    const handle_hld instance = create_instance();
    pipe_connection connection(id, {plenty, plenty});
    connection.Write("x", 1);
    char byte = 0;
    DWORD read = 0;
    ASSERT_TRUE(::ReadFile(instance.get(), &byte, 1, &read, nullptr));
    ASSERT_TRUE(::ImpersonateNamedPipeClient(instance.get()));
    HANDLE token = nullptr;
    ASSERT_TRUE(::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token));
    const handle_hld owner(token);
    ASSERT_TRUE(::RevertToSelf());
    SECURITY_IMPERSONATION_LEVEL level{};
    DWORD size = 0;
    ASSERT_TRUE(::GetTokenInformation(token, TokenImpersonationLevel, &level, sizeof level, &size));
    if (::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr)
        GTEST_SKIP() << "Wine lets every pipe server impersonate its clients";
    EXPECT_EQ(level, SecurityIdentification);
}

}  // namespace
}  // namespace qv::profiler::pdb_client
