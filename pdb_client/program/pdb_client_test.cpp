// The program as people run it: exit codes, output, and what it leaves behind.
#include <gmock/gmock.h>
#include <windows.h>

#include <tlhelp32.h>

#include "common/holders.h"
#include "qv/text/path.h"
#include "tests/support/files/test_files.h"
#include "tests/support/server/server_process.h"

namespace qv::profiler::pdb_client {
namespace {

using qv::testing::fixture;
using ::testing::HasSubstr;

constexpr DWORD patience = 60000;

// pdb_client.exe, which lies in the folder `bin` beside the folder of the test programs.
class client_process {
public:
    explicit client_process(const std::wstring& arguments) {
        std::wstring self(32768, L'\0');
        self.resize(::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
        const auto program = boost::filesystem::path(self).parent_path().parent_path() / "bin" / "pdb_client.exe";
        std::wstring command_line = L"\"" + program.native() + L"\" " + arguments;
        const handle_hld output = inheritable(L"output");
        const handle_hld messages = inheritable(L"messages");
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = output.get();
        start.hStdError = messages.get();
        PROCESS_INFORMATION created{};
        EXPECT_TRUE(::CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                     nullptr, nullptr, &start, &created));
        process.reset(created.hProcess);
        const handle_hld thread(created.hThread);
        id = created.dwProcessId;
    }
    ~client_process() { ::TerminateProcess(process.get(), 99); }

    DWORD exit_code() const {
        DWORD code = 99;
        EXPECT_EQ(::WaitForSingleObject(process.get(), patience), WAIT_OBJECT_0);
        EXPECT_TRUE(::GetExitCodeProcess(process.get(), &code));
        return code;
    }
    std::string output() const { return qv::testing::read_file(directory_.path() / L"output"); }
    std::string messages() const { return qv::testing::read_file(directory_.path() / L"messages"); }

    handle_hld process;
    DWORD id = 0;

private:
    handle_hld inheritable(const wchar_t* name) const {
        SECURITY_ATTRIBUTES yes{sizeof yes, nullptr, TRUE};
        return handle_hld(valid_handle_or_null(::CreateFileW((directory_.path() / name).c_str(), GENERIC_WRITE,
                                                             FILE_SHARE_READ, &yes, CREATE_ALWAYS, 0, nullptr)));
    }

    qv::testing::temporary_directory directory_;
};

std::wstring quoted(const boost::filesystem::path& path) {
    return L" \"" + text::to_wide(path) + L"\" ";
}

TEST(PdbClient, LinesWithTheirExitCodes) {
    const qv::testing::server_process server;
    const struct {
        std::wstring arguments;
        DWORD exit_code;
        const char* output;
        const char* messages;
    } cases[] = {
        {L"--spawn method" + quoted(fixture("Documents.dll")) + L"0x06000003", 0,
         "0x06000003  [2] /src/Documents.cs\n    IL_0000  24:25 - 24:26\n    IL_0001  25:5  - 25:6\n", ""},
        {L"--pipe " + server.pipe_id() + L" documents" + quoted(fixture("NonAscii.dll")), 0,
         "[4] /\xf0\x9f\x98\x80/\xf0\x9d\x92\xb3.cs\n", ""},
        {L"--version", 0, "pdb_client 1.", ""},
        {L"--help", 0, "Shows the symbols", ""},
        {L"--spawn dump" + quoted(fixture("NoSymbols.dll")), 1, "", "no symbols"},
        {L"--spawn dump nowhere.dll", 1, "", "nowhere.dll: Can't open file"},
        {L"--spawn dump" + quoted(fixture("Hidden.pdb")), 1, "",
         "not a managed module: Invalid DOS header signature\n"},
        {L"dump a.dll", 2, "", "Either --pipe or --spawn is needed\npdb_client --help"},
        {L"--spawn method" + quoted(fixture("Documents.dll")) + L"0x06000100", 2, "", "no method 0x06000100; the last"},
        {L"--timeout 1 --pipe qv_nobody dump" + quoted(fixture("Documents.dll")), 3, "", "No server listens"},
        {L"--spawn --symsrv_dir C:\\nowhere dump" + quoted(fixture("Documents.dll")), 3, "", "path doesn't exist"},
    };
    for (const auto& tested : cases) {
        const client_process client(tested.arguments);
        EXPECT_EQ(client.exit_code(), tested.exit_code) << tested.messages;
        EXPECT_THAT(client.output(), HasSubstr(tested.output));
        EXPECT_THAT(client.messages(), HasSubstr(tested.messages));
        EXPECT_EQ(client.output().empty(), *tested.output == '\0');
        EXPECT_EQ(client.messages().empty(), *tested.messages == '\0');
    }
}

// The last backslash must not swallow what follows.
TEST(PdbClient, SpawnedServerIsToldItsOptions) {
    const qv::testing::temporary_directory directory;
    const auto log = directory.path() / "lo g.txt";
    const client_process client(L"--spawn --log_mask 16 --log_file" + quoted(log) + L"--symsrv_dir " +
                                quoted(directory.path() / "no where\\\\") + L"dump" + quoted(fixture("Hidden.dll")));
    EXPECT_EQ(client.exit_code(), 3u);
    EXPECT_THAT(client.messages(), HasSubstr("no where\\'\n"));
    EXPECT_THAT(qv::testing::read_file(log), HasSubstr("[X] PdbGt"));
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
    client_process client(L"--spawn dump" + quoted(fixture("Hidden.dll")));
    handle_hld server;
    while (!server && ::WaitForSingleObject(client.process.get(), 0) == WAIT_TIMEOUT) server = server_of(client.id);
    ASSERT_TRUE(static_cast<bool>(server));
    ASSERT_TRUE(::TerminateProcess(client.process.get(), 98));
    EXPECT_EQ(::WaitForSingleObject(server.get(), patience), WAIT_OBJECT_0);
}

}  // namespace
}  // namespace qv::profiler::pdb_client
