#include "pdb_client/program/options.h"

#include <gmock/gmock.h>

#include <boost/filesystem/operations.hpp>

#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using testing::ElementsAre;
using words = std::vector<std::wstring>;

std::wstring here(const char* name) {
    return text::to_wide(boost::filesystem::current_path() / name);
}

TEST(Options, DefaultsOfTheShortestLine) {
    const options got = parse_options({L"--pipe", L"p\u00e9", L"dump", L"\u4e2d.dll"});
    EXPECT_EQ(got.pipe, L"p\u00e9");
    EXPECT_FALSE(got.spawn || got.json);
    EXPECT_EQ(got.timeout, std::chrono::seconds(30));
    EXPECT_EQ(got.search.policy, 14);
    EXPECT_EQ(got.what, command::dump);
    EXPECT_EQ(text::to_wide(got.module), L"\u4e2d.dll");
}

TEST(Options, EverythingInAnyOrderAndEitherSpelling) {
    const options got =
        parse_options({L"method", L"--json", L"m.dll", L"--policy=0xF", L"--search-path", L"SRV*s;dir;;cache*c",
                       L"0x060000AA", L"--spawn", L"--search_path", L"srv", L"--timeout", L"5", L"--symsrv-dir", L"s",
                       L"--log_file", L"a b", L"--log_mask", L"0x11"});
    EXPECT_TRUE(got.spawn);
    EXPECT_TRUE(got.json);
    EXPECT_EQ(got.timeout, std::chrono::seconds(5));
    EXPECT_EQ(got.search.policy, 15);
    EXPECT_THAT(got.search.search_paths, ElementsAre(L"SRV*s", here("dir"), L"cache*c", here("srv")));
    EXPECT_THAT(got.server_arguments,
                ElementsAre(L"--symsrv_dir", here("s"), L"--log_file", here("a b"), L"--log_mask", L"17"));
    EXPECT_EQ(got.what, command::method);
    EXPECT_EQ(got.token, 0x060000AAu);
}

TEST(Options, SpellingsOfMethodsAndOfHelp) {
    for (const wchar_t* token : {L"0x0600aAfF", L"0X600AAff", L"100707071"})
        EXPECT_EQ(parse_options({L"--spawn", L"method", L"m", token}).token, 0x0600AAFFu) << token;
    EXPECT_EQ(text::to_wide(parse_options({L"explain", L"m", L"--symsrv-dir", L"s"}).symsrv_dir), here("s"));
    EXPECT_EQ(parse_options({L"--spawn", L"method", L"m", L"\u00c4.x(2)"}).method_name, "\xc3\x84.x(2)");
    for (const wchar_t* word : {L"-h", L"/?", L"-?"}) EXPECT_TRUE(parse_options({word}).help) << word;
}

TEST(Options, LinesThatAreRefused) {
    constexpr const char* bad_token = "The method is not a MethodDef token such as 0x06000005";
    constexpr const char* for_spawned = "--symsrv_dir, --log_file and --log_mask are for a server that --spawn starts";
    const struct {
        words arguments;
        const char* message;
    } cases[] = {
        {{L"--pipe", L"p", L"--spawn", L"dump", L"m"}, "--pipe and --spawn exclude each other"},
        {{L"--pipe", L"a\\b", L"dump", L"m"}, "The pipe identifier is not valid: it is the ID of \\\\.\\pipe\\ID"},
        {{L"--pipe", L"p", L"--log_file", L"f", L"dump", L"m"}, for_spawned},
        {{L"--spawn"}, "No command is given"},
        {{L"--spawn", L"show", L"m"},
         "The command is none of dump, method, documents, sourcelink, annotate, verify and explain"},
        {{L"--spawn", L"dump"}, "No module is given"},
        {{L"--spawn", L"dump", L""}, "No module is given"},
        {{L"--spawn", L"verify"}, "No directory is given"},
        {{L"--spawn", L"dump", L"\xD800"}, "Not enough input"},
        {{L"--spawn", L"method", L"m"}, "No method is given"},
        {{L"--spawn", L"method", L"m", L""}, "No method is given"},
        {{L"--spawn", L"method", L"m", L"\xD800"}, "Not enough input"},
        {{L"--spawn", L"dump", L"m", L"0x06000001"}, "There are too many arguments"},
        {{L"--spawn", L"method", L"m", L"0x06000000"}, bad_token},
        {{L"--spawn", L"method", L"m", L"0x07000001"}, bad_token},
        {{L"--spawn", L"method", L"m", L"0x1000000006000001"}, bad_token},
        {{L"--spawn", L"method", L"m", L"0x0600000g"}, bad_token},
        {{L"--spawn", L"method", L"m", L"0x"}, bad_token},
        {{L"--spawn", L"--policy", L"256"}, "The policy is not a number from 0 to 255"},
        {{L"--spawn", L"--timeout", L"0"}, "The time-out is not a number of seconds from 1 to 86400"},
        {{L"--spawn", L"--log_mask", L"65536"}, "The log mask is not a number from 0 to 65535"},
        {{L"--spawn", L"--search_path", L";", L"dump", L"m"}, "A search path is empty"},
        {{L"--spawn", L"--search_path", L"srv*\xD800", L"dump", L"m"}, "Not enough input"},
        {{L"--spawn", L"explain", L"m"}, "The command explain asks no server: --pipe and --spawn are not for it"},
        {{L"--log_mask", L"1", L"explain", L"m"}, for_spawned},
        {{L"--spawn", L"--url", L"dump", L"m"}, "--url is for the commands documents and annotate"},
        {{L"--spawn", L"--json", L"annotate", L"m", L"x"}, "--json is not for the command annotate"},
        {{L"--spawn", L"--source-root", L"r", L"dump", L"m"}, "--source_root is for the commands annotate and verify"},
        {{L"--spawn", L"--source-root", L"", L"annotate", L"m", L"x"}, "A source root is empty"},
        {{L"--spa", L"dump", L"m"}, "unrecognised option '--spa'"},
        {{L"dump", L"m", L"--pipe"}, "the required argument for option '--pipe' is missing"}};
    for (const auto& tested : cases)
        EXPECT_THAT([&] { parse_options(tested.arguments); }, testing::ThrowsMessage<std::exception>(tested.message));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
