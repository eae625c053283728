#include "pdb_server/src/options.h"

#include <gtest/gtest.h>

#include <boost/program_options/errors.hpp>

#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

using arguments = std::vector<std::wstring>;

// The values in order, or why the command line is refused.
std::wstring outcome_of(const arguments& given) {
    try {
        const auto options = parse_options(given);
        return options.pipe + L'|' + text::to_wide(options.log_file) + L'|' + std::to_wstring(options.log_mask) + L'|' +
               text::to_wide(options.symsrv_dir) + L'|' + options.stop_request_event +
               (options.local_clients_only ? L"|clients" : L"") + (options.new_pipe_only ? L"|new" : L"") +
               (options.local_paths_only ? L"|paths" : L"");
    } catch (const boost::program_options::error& error) {
        return L"refused: " + text::to_utf16(error.what());
    }
}

TEST(Options, AreTakenOrRefused) {
    const struct {
        arguments given;
        std::wstring outcome;
    } cases[] = {
        {{L"--stop_request_event", L"Local\\stop", L"--symsrv_dir", L"C:\\sym srv", L"--log_mask", L"00017",
          L"--log_file=C:\\\u00e9\\log.txt", L"pipe-\u4e2d"},
         L"pipe-\u4e2d|C:\\\u00e9\\log.txt|17|C:\\sym srv|Local\\stop"},
        {{L""}, L"||0||"},
        {{L"p", L"--local_clients_only"}, L"p||0|||clients"},
        {{L"--new_pipe_only", L"p"}, L"p||0|||new"},
        {{L"--local_paths_only", L"p"}, L"p||0|||paths"},
        {{L"--pipe", L"", L"--log_file", L"", L"--symsrv_dir", L"", L"--log_mask", L"65535"}, L"||65535||"},
    };
    for (const auto& each : cases) EXPECT_EQ(outcome_of(each.given), each.outcome);
    for (const wchar_t* mask : {L"65536", L"99999999999999999999", L"-1", L"0x11", L"1 ", L"", L"\uff11"})
        EXPECT_EQ(outcome_of({L"p", L"--log_mask", mask}),
                  L"refused: the argument for option '--log_mask' must be a number from 0 to 65535");
    EXPECT_EQ(outcome_of({L"--log_mask", L"1"}), L"refused: the option '--pipe' is required but missing");
    const arguments refused[] = {{L"--pipe", L"--log_mask", L"1"},  // a value is missing
                                 {L"a", L"b"},
                                 {L"--pipe", L"a", L"--pipe", L"b"},
                                 {L"p", L"--colour", L"red"},
                                 {L"--pip", L"p"},
                                 {L"--PIPE", L"p"},
                                 {L"--local_paths_only=no", L"p"}};
    for (const arguments& given : refused)
        EXPECT_TRUE(outcome_of(given).starts_with(L"refused: ")) << outcome_of(given);
    EXPECT_NE(outcome_of({L"p", L"--\u00e9"}).find(L"--\u00e9"), std::wstring::npos);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
