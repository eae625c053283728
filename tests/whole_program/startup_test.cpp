// What the server prints and how it exits when it starts, and when it cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr std::uint32_t patience_milliseconds = 30000;

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
    std::string name;
    std::vector<std::wstring> arguments;
    std::uint32_t code;
    std::string output;  // what follows "Exception: "
    std::string error;   // what standard error says
};

class StartupFailures : public ::testing::TestWithParam<failure> {};

TEST_P(StartupFailures, AreToldPlainly) {
    server_process::settings settings;
    settings.further_arguments = GetParam().arguments;
    server_process server(settings);
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), GetParam().code);
    EXPECT_THAT(server.standard_output(), HasSubstr("Exception: " + GetParam().output));
    EXPECT_THAT(server.standard_error(), HasSubstr(GetParam().error));
}

const char* const unknown = "Unknown exception\r\n";

INSTANTIATE_TEST_SUITE_P(
    Arguments, StartupFailures,
    ::testing::Values(
        failure{"UnknownOption", {L"--nonsense"}, 2, unknown, "unrecognised option '--nonsense'\r\n"},
        failure{"PipeTwice", {L"another"}, 2, unknown, "option '--pipe' cannot be specified more than once\r\n"},
        failure{"RelativeSymbolServer",
                {L"--symsrv_dir", L"relative"},
                1,
                "Symbol server path isn't absolute\r\n",
                "[function] = "},
        failure{"MissingSymbolServerDirectory",
                {L"--symsrv_dir", L"C:\\no such directory"},
                1,
                "Symbol server path doesn't exist\r\n",
                ""},
        failure{
            "DirectoryWithoutSymbolServer", {L"--symsrv_dir", L"C:\\windows"}, 1, "Symbol server wasn't loaded", ""}),
    [](const auto& test) { return test.param.name; });

// The system words its part of the texts in its own way; the rest is the server's.
TEST(Startup, EmptyPipeIsRefusedAfterTheLogHasBeenOpened) {
    server_process::settings settings;
    settings.pipe_argument = L"";
    server_process server(settings);
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 2u);
    EXPECT_THAT(server.standard_output(), EndsWith("Exception: Id can't be empty\r\n"));
    EXPECT_THAT(server.standard_error(),
                MatchesRegex("\\[location\\] = pdb_server/src/pdb_server:\\d+\r\n"
                             "\\[function\\] = int __cdecl wmain\\(const int,const wchar_t \\*const \\[\\]\\)\r\n"));
    EXPECT_THAT(server.log(), ::testing::ContainsRegex(" ERROR: Id can't be empty\r\n........ Finished\r\n$"));
}

TEST(Startup, LogThatCannotBeCreatedEndsTheServer) {
    server_process::settings settings;
    settings.log_file = L"C:\\no such directory\\log.txt";
    server_process server(settings);
    ASSERT_EQ(server.wait_for_exit(patience_milliseconds), 1u);
    EXPECT_THAT(server.standard_output(), HasSubstr("Exception: Can't create file (Win32 error 3, "));
    EXPECT_THAT(server.standard_error(), HasSubstr("[file] = 'C:\\no such directory\\log.txt'\r\n"));
}

}  // namespace
