#include "pdb_server/src/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/program_options/errors.hpp>

#include "qv/text/path.h"

namespace qv::profiler::pdb_server {
namespace {

using arguments = std::vector<std::wstring>;

// "" where the command line is accepted.
std::string refusal(const arguments& given) {
    try {
        parse_options(given);
    } catch (const boost::program_options::error& error) {
        return error.what();
    }
    return "";
}

TEST(Options, EveryValueIsTaken) {
    const auto options = parse_options({L"--stop_request_event", L"Local\\stop", L"--symsrv_dir", L"C:\\sym srv",
                                        L"--log_mask", L"17", L"--log_file=C:\\\u00e9\\log.txt", L"pipe-\u4e2d"});
    EXPECT_EQ(options.pipe, L"pipe-\u4e2d");
    EXPECT_EQ(text::to_wide(options.log_file), L"C:\\\u00e9\\log.txt");
    EXPECT_EQ(options.log_mask, 17);
    EXPECT_EQ(text::to_wide(options.symsrv_dir), L"C:\\sym srv");
    EXPECT_EQ(options.stop_request_event, L"Local\\stop");
}

TEST(Options, AreEmptyWhereNothingOrNothingMuchIsGiven) {
    for (const arguments& given : {arguments{L""}, {L"--pipe", L"", L"--log_file", L"", L"--symsrv_dir", L""}}) {
        const auto options = parse_options(given);
        EXPECT_EQ(options.pipe + options.stop_request_event, L"");
        EXPECT_TRUE(options.log_file.empty() && options.symsrv_dir.empty());
        EXPECT_EQ(options.log_mask, 0);
    }
}

TEST(Options, MaskHas16Bits) {
    const struct {
        const wchar_t* text;
        int value;  // -1: refused
    } cases[] = {
        {L"00017", 17}, {L"65535", 65535}, {L"65536", -1},  {L"99999999999999999999", -1}, {L"-1", -1}, {L"0x11", -1},
        {L"1 ", -1},    {L"", -1},         {L"\uff11", -1},
    };
    for (const auto& each : cases) {
        const arguments given = {L"p", L"--log_mask", each.text};
        SCOPED_TRACE(testing::PrintToString(std::wstring(each.text)));
        if (each.value < 0)
            EXPECT_EQ(refusal(given), "the argument for option '--log_mask' must be a number from 0 to 65535");
        else
            EXPECT_EQ(parse_options(given).log_mask, each.value);
    }
}

TEST(Options, BadCommandLinesAreRefused) {
    const struct {
        const char* why;
        arguments given;
    } cases[] = {
        {"no pipe", {}},
        {"no pipe among others", {L"--log_mask", L"1"}},
        {"value missing before an option", {L"--pipe", L"--log_mask", L"1"}},
        {"two positional", {L"a", L"b"}},
        {"named twice", {L"--pipe", L"a", L"--pipe", L"b"}},
        {"unknown", {L"p", L"--colour", L"red"}},
        {"abbreviated", {L"--pip", L"p"}},
        {"other case", {L"--PIPE", L"p"}},
    };
    for (const auto& each : cases) EXPECT_NE(refusal(each.given), "") << each.why;
    EXPECT_EQ(refusal({}), "the option '--pipe' is required but missing");
    EXPECT_THAT(refusal({L"p", L"--\u00e9"}), testing::HasSubstr("--\xc3\xa9"));
}

}  // namespace
}  // namespace qv::profiler::pdb_server
