// What the server prints and how it exits when it starts, and when it cannot.
#include <gmock/gmock.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

TEST(Startup, GreetsAndSaysHowToEnd) {
    server_process server;
    server.request_stop();
    ASSERT_EQ(server.exit_code(), 0u);
    EXPECT_THAT(server.standard_output(),
                MatchesRegex("PDB Server v1.0.0.0.*\r\nPress Ctrl-C to terminate...\r\nExternal stop request was "
                             "detected\r\n"));
    EXPECT_EQ(server.standard_error(), "");
}

// The system words its part of the texts in its own way; the rest is the server's.
TEST(Startup, FailuresAreToldPlainly) {
    const server_process other;
    const struct {
        server_process::settings how;
        std::uint32_t code;
        std::string output;      // what follows "Exception: "
        std::string error = {};  // part of the standard error
    } cases[] = {
        {{.further_arguments = {L"--nonsense"}}, 2, "Unknown exception\r\n", "unrecognised option '--nonsense'\r\n"},
        {{.further_arguments = {L"--symsrv_dir", L"C:relative"}}, 1, "Symbol server path isn't absolute\r\n"},
        {{.further_arguments = {L"--symsrv_dir", L"\\windows"}}, 1, "Symbol server path isn't absolute\r\n"},
        {{.further_arguments = {L"--symsrv_dir", L"C:\\windows\\win.ini"}}, 1, "Symbol server path doesn't exist\r\n"},
        {{.further_arguments = {L"--symsrv_dir", L"C:\\windows"}}, 1, "Symbol server wasn't loaded"},
        {{.log_file = L"C:\\no such directory\\log.txt"},
         1,
         "Can't create file (Win32 error 3, ",
         "[file] = 'C:\\no such directory\\log.txt'\r\n"},
        {{.pipe_argument = L""},
         2,
         "Id can't be empty\r\n",
         "\r\n[function] = int __cdecl wmain(const int,const wchar_t *const [])\r\n"},
        {{.pipe_argument = other.pipe_id(), .further_arguments = {L"--new_pipe_only"}},
         1,
         "Pipe name is taken by another process (Win32 error 5, "},
    };
    for (const auto& each : cases) {
        server_process server(each.how);
        EXPECT_EQ(server.exit_code(), each.code);
        EXPECT_THAT(server.standard_output(), HasSubstr("Exception: " + each.output));
        EXPECT_THAT(server.standard_error(), HasSubstr(each.error));
        // The pipe is looked at when the log is open.
        if (each.how.pipe_argument) {
            EXPECT_THAT(server.log(), HasSubstr(" ERROR: " + each.output));
            EXPECT_THAT(server.log(), ::testing::EndsWith(" Finished\r\n"));
        }
    }
}

}  // namespace
