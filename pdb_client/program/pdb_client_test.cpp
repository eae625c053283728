// The program as people run it: exit codes, output, and what it leaves behind.
#include <gmock/gmock.h>
#include <windows.h>

#include <tlhelp32.h>

#include <boost/filesystem/path.hpp>
#include <thread>

#include "common/holders.h"
#include "qv/text/path.h"
#include "tests/support/files/test_files.h"
#include "tests/support/server/server_process.h"

namespace qv::profiler::pdb_client {
namespace {

using qv::testing::fixture;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr DWORD patience = 60000;

struct stream_pipe {
    stream_pipe() {
        HANDLE read = nullptr;
        HANDLE write = nullptr;
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        EXPECT_TRUE(::CreatePipe(&read, &write, &inheritable, 0));
        ours.reset(read);
        its.reset(write);
        EXPECT_TRUE(::SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0));
    }

    std::string read_to_end() const {
        std::string text;
        char part[4096];
        DWORD read = 0;
        while (::ReadFile(ours.get(), part, sizeof part, &read, nullptr) && read != 0) text.append(part, read);
        return text;
    }

    handle_hld ours;
    handle_hld its;
};

// pdb_client.exe, which lies in the folder `bin` beside the folder of the test programs.
class client_process {
public:
    explicit client_process(const std::wstring& arguments) {
        std::wstring self(32768, L'\0');
        self.resize(::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
        const auto program = boost::filesystem::path(self).parent_path().parent_path() / "bin" / "pdb_client.exe";
        std::wstring command_line = L"\"" + program.native() + L"\" " + arguments;
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = output_.its.get();
        start.hStdError = messages_.its.get();
        PROCESS_INFORMATION created{};
        EXPECT_TRUE(::CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                     nullptr, nullptr, &start, &created));
        process.reset(created.hProcess);
        const handle_hld thread(created.hThread);
        id = created.dwProcessId;
        output_.its.reset();
        messages_.its.reset();
    }

    ~client_process() { ::TerminateProcess(process.get(), 99); }
    client_process(const client_process&) = delete;
    client_process& operator=(const client_process&) = delete;

    void wait() {
        std::thread reader([this] { messages = messages_.read_to_end(); });
        output = output_.read_to_end();
        reader.join();
        EXPECT_EQ(::WaitForSingleObject(process.get(), patience), WAIT_OBJECT_0);
        ::GetExitCodeProcess(process.get(), &exit_code);
    }

    handle_hld process;
    DWORD id = 0;
    DWORD exit_code = 99;
    std::string output;
    std::string messages;

private:
    stream_pipe output_;
    stream_pipe messages_;
};

std::wstring quoted_fixture(const char* name) {
    return L" \"" + text::to_wide(fixture(name)) + L"\" ";
}

TEST(PdbClient, SpawnShowsAMethodAndNothingElse) {
    client_process client(L"--spawn method" + quoted_fixture("Documents.dll") + L"0x06000003");
    client.wait();
    EXPECT_EQ(client.exit_code, 0u);
    EXPECT_EQ(client.output,
              "0x06000003  [2] /src/Documents.cs\n"
              "    IL_0000  24:25 - 24:26\n"
              "    IL_0001  25:5  - 25:6\n");
    EXPECT_EQ(client.messages, "");
}

TEST(PdbClient, TalksToARunningServerInUtf8) {
    const qv::testing::server_process server;
    client_process client(L"--pipe " + server.pipe_id() + L" documents" + quoted_fixture("NonAscii.dll"));
    client.wait();
    EXPECT_EQ(client.exit_code, 0u);
    EXPECT_THAT(client.output, HasSubstr("[2] /Stra\u00dfe/Gr\u00f6\u00dfe.cs\n"));
    EXPECT_THAT(client.output, HasSubstr("[4] /\xf0\x9f\x98\x80/\xf0\x9d\x92\xb3.cs\n"));
}

struct failing_line {
    const char* name;
    std::wstring arguments;
    DWORD exit_code;
    const char* message;
};

class FailingLine : public ::testing::TestWithParam<failing_line> {};

TEST_P(FailingLine, HasItsExitCodeAndNoOutput) {
    client_process client(GetParam().arguments);
    client.wait();
    EXPECT_EQ(client.exit_code, GetParam().exit_code);
    EXPECT_EQ(client.output, "");
    EXPECT_THAT(client.messages, HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    PdbClient, FailingLine,
    ::testing::Values(failing_line{"NoSymbols", L"--spawn dump" + quoted_fixture("NoSymbols.dll"), 1, "no symbols"},
                      failing_line{"NoSuchMethod", L"--spawn method" + quoted_fixture("Documents.dll") + L"0x06000100",
                                   1, "method 0x06000100: Too large table index\n"},
                      failing_line{"NoModule", L"--spawn dump nowhere.dll", 1, "nowhere.dll: Can't open file"},
                      failing_line{"BadCommandLine", L"dump a.dll", 2, "Either --pipe or --spawn is needed\n"},
                      failing_line{"NoServer", L"--timeout 1 --pipe qv_nobody dump" + quoted_fixture("Documents.dll"),
                                   3, "Can't connect to the server"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(PdbClient, HelpIsOutput) {
    client_process client(L"--help");
    client.wait();
    EXPECT_EQ(client.exit_code, 0u);
    EXPECT_THAT(client.output, StartsWith("Shows the symbols"));
}

// The server that this client has started; null while there is none.
handle_hld server_of(DWORD client) {
    const handle_hld processes(valid_handle_or_null(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Process32FirstW(processes.get(), &entry); more; more = ::Process32NextW(processes.get(), &entry))
        if (entry.th32ParentProcessID == client && std::wstring(entry.szExeFile) == L"pdb_server.exe")
            return handle_hld(::OpenProcess(SYNCHRONIZE, FALSE, entry.th32ProcessID));
    return {};
}

TEST(PdbClient, KilledClientLeavesNoServerBehind) {
    client_process client(L"--spawn dump" + quoted_fixture("Hidden.dll"));
    handle_hld server;
    while (!server && ::WaitForSingleObject(client.process.get(), 0) == WAIT_TIMEOUT) server = server_of(client.id);
    ASSERT_TRUE(static_cast<bool>(server));
    ASSERT_TRUE(::TerminateProcess(client.process.get(), 98));
    EXPECT_EQ(::WaitForSingleObject(server.get(), patience), WAIT_OBJECT_0);
}

}  // namespace
}  // namespace qv::profiler::pdb_client
