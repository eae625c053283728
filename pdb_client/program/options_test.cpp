#include "pdb_client/program/options.h"

#include <gmock/gmock.h>

#include <boost/filesystem/operations.hpp>

#include "qv/text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using words = std::vector<std::wstring>;

TEST(Options, DefaultsOfTheShortestLine) {
    const options got = parse_options({L"--pipe", L"p", L"dump", L"m.dll"});
    EXPECT_EQ(got.pipe, L"p");
    EXPECT_FALSE(got.spawn);
    EXPECT_FALSE(got.json);
    EXPECT_EQ(got.timeout, std::chrono::seconds(30));
    EXPECT_EQ(got.search.policy, 14);
    EXPECT_TRUE(got.search.search_paths.empty());
    EXPECT_EQ(got.what, command::dump);
    EXPECT_EQ(got.module, "m.dll");
}

TEST(Options, EverythingInAnyOrder) {
    const options got = parse_options({L"method", L"--json", L"m.dll", L"--policy=0x3", L"--search-path", L"SRV*s",
                                       L"0x0600000a", L"--spawn", L"--search-path", L"dir", L"--timeout", L"5"});
    EXPECT_TRUE(got.spawn);
    EXPECT_TRUE(got.json);
    EXPECT_EQ(got.timeout, std::chrono::seconds(5));
    EXPECT_EQ(got.search.policy, 3);
    const auto here = text::to_wide(boost::filesystem::current_path() / "dir");
    EXPECT_THAT(got.search.search_paths, testing::ElementsAre(L"SRV*s", here));
    EXPECT_EQ(got.what, command::method);
    EXPECT_EQ(got.token, 0x0600000Au);
}

TEST(Options, TokensInBothNotations) {
    for (const wchar_t* token : {L"0x06000005", L"0X6000005", L"100663301"})
        EXPECT_EQ(parse_options({L"--spawn", L"method", L"m", token}).token, 0x06000005u) << token;
}

TEST(Options, NonAsciiArguments) {
    const options got = parse_options({L"--pipe", L"p\u00e9", L"documents", L"\u4e2d.dll"});
    EXPECT_EQ(got.pipe, L"p\u00e9");
    EXPECT_EQ(text::to_wide(got.module), L"\u4e2d.dll");
}

TEST(Options, HelpNeedsNothingElse) {
    EXPECT_TRUE(parse_options({L"--help"}).help);
}

TEST(Options, HelpFitsThePage) {
    std::istringstream lines(help_text());
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100u) << line;
}

struct refused_line {
    const char* name;
    words arguments;
    const char* message;
};

class RefusedOptions : public testing::TestWithParam<refused_line> {};

TEST_P(RefusedOptions, Throws) {
    try {
        parse_options(GetParam().arguments);
        ADD_FAILURE() << "accepted";
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), GetParam().message);
    }
}

constexpr const char* bad_token = "The method is not a MethodDef token such as 0x06000005";
constexpr const char* bad_timeout = "The time-out is not a number of seconds from 1 to 86400";

INSTANTIATE_TEST_SUITE_P(
    Options, RefusedOptions,
    testing::Values(
        refused_line{"Nothing", {}, "Either --pipe or --spawn is needed"},
        refused_line{"NoServer", {L"dump", L"m"}, "Either --pipe or --spawn is needed"},
        refused_line{"TwoServers", {L"--pipe", L"p", L"--spawn", L"dump", L"m"}, "Either --pipe or --spawn is needed"},
        refused_line{"PipeWithSeparator", {L"--pipe", L"a\\b", L"dump", L"m"}, "The pipe identifier is not valid"},
        refused_line{"NoCommand", {L"--spawn"}, "No command is given"},
        refused_line{"OtherCommand",
                     {L"--spawn", L"show", L"m"},
                     "The command is none of dump, method, documents and sourcelink"},
        refused_line{"NoModule", {L"--spawn", L"dump"}, "No module is given"},
        refused_line{"EmptyModule", {L"--spawn", L"dump", L""}, "No module is given"},
        refused_line{"NoToken", {L"--spawn", L"method", L"m"}, "No method token is given"},
        refused_line{"TokenForDump", {L"--spawn", L"dump", L"m", L"0x06000001"}, "There are too many arguments"},
        refused_line{"TokenOfRowZero", {L"--spawn", L"method", L"m", L"0x06000000"}, bad_token},
        refused_line{"TokenOfOtherTable", {L"--spawn", L"method", L"m", L"0x02000001"}, bad_token},
        refused_line{"TokenAboveTheTable", {L"--spawn", L"method", L"m", L"0x07000001"}, bad_token},
        refused_line{"TokenThatWraps", {L"--spawn", L"method", L"m", L"0x1000000006000001"}, bad_token},
        refused_line{"TokenWithoutPrefix", {L"--spawn", L"method", L"m", L"0600000a"}, bad_token},
        refused_line{"TokenOfPrefixOnly", {L"--spawn", L"method", L"m", L"0x"}, bad_token},
        refused_line{"PolicyTooLarge", {L"--spawn", L"--policy", L"256"}, "The policy is not a number from 0 to 255"},
        refused_line{"TimeoutZero", {L"--spawn", L"--timeout", L"0"}, bad_timeout},
        refused_line{"TimeoutNoNumber", {L"--spawn", L"--timeout", L"1s"}, bad_timeout},
        refused_line{"EmptySearchPath", {L"--spawn", L"--search-path", L"", L"dump", L"m"}, "A search path is empty"},
        refused_line{
            "SearchPathNotUtf16", {L"--spawn", L"--search-path", L"\xD800", L"dump", L"m"}, "Not enough input"},
        refused_line{"UnknownOption", {L"--spwan"}, "unrecognised option '--spwan'"},
        refused_line{"NoGuessing", {L"--spa", L"dump", L"m"}, "unrecognised option '--spa'"},
        refused_line{
            "ValueMissing", {L"dump", L"m", L"--pipe"}, "the required argument for option '--pipe' is missing"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace qv::profiler::pdb_client
