// What the server prints and how it exits when it starts, and when it cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(Startup, GreetsAndSaysHowToEnd) {
    server_process server;
    ASSERT_TRUE(server.wait_until_ready());
    server.request_stop();
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
    const std::string output = server.standard_output();
    EXPECT_THAT(output, StartsWith("PDB Server v1.0.0.0"));
    const std::size_t banner = output.find('\n') + 1;
    EXPECT_EQ(output.substr(banner), "Press Ctrl-C to terminate...\r\nExternal stop request was detected\r\n");
    EXPECT_EQ(server.standard_error(), "");
}

struct failure {
    const char* name;
    server_process::settings how;
    std::uint32_t code;
    std::string output;      // what follows "Exception: "
    std::string error = {};  // part of the standard error
};

// The system words its part of the texts in its own way; the rest is the server's.
const failure failures[] = {
    {"UnknownOption",
     {.further_arguments = {L"--nonsense"}},
     2,
     "Unknown exception\r\n",
     "unrecognised option '--nonsense'\r\n"},
    {"PipeTwice",
     {.further_arguments = {L"another"}},
     2,
     "Unknown exception\r\n",
     "option '--pipe' cannot be specified more than once\r\n"},
    {"RelativeSymbolServer",
     {.further_arguments = {L"--symsrv_dir", L"relative"}},
     1,
     "Symbol server path isn't absolute\r\n"},
    {"MissingSymbolServerDirectory",
     {.further_arguments = {L"--symsrv_dir", L"C:\\no such directory"}},
     1,
     "Symbol server path doesn't exist\r\n"},
    {"DirectoryWithoutSymbolServer",
     {.further_arguments = {L"--symsrv_dir", L"C:\\windows"}},
     1,
     "Symbol server wasn't loaded"},
    {"NoLog",
     {.log_file = L"C:\\no such directory\\log.txt"},
     1,
     "Can't create file (Win32 error 3, ",
     "[file] = 'C:\\no such directory\\log.txt'\r\n"},
    {"EmptyPipe",
     {.pipe_argument = L""},
     2,
     "Id can't be empty\r\n",
     "\r\n[function] = int __cdecl wmain(const int,const wchar_t *const [])\r\n"},
};

class StartupFailures : public ::testing::TestWithParam<failure> {};

TEST_P(StartupFailures, AreToldPlainly) {
    server_process server(GetParam().how);
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), GetParam().code);
    EXPECT_THAT(server.standard_output(), HasSubstr("Exception: " + GetParam().output));
    EXPECT_THAT(server.standard_error(), HasSubstr(GetParam().error));
    // The pipe is looked at when the log is open.
    if (GetParam().how.pipe_argument) {
        EXPECT_THAT(server.log(), ::testing::ContainsRegex(" ERROR: Id can't be empty\r\n........ Finished\r\n$"));
    }
}

INSTANTIATE_TEST_SUITE_P(Failures, StartupFailures, ::testing::ValuesIn(failures),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
