#include "diagnostics/environment_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <vector>

#include "diagnostics/environment.h"
#include "qv/text/display.h"

namespace {

using namespace qv::log;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class string_sink final : public qv::profiler::stream::TextSink {
public:
    void write(const char* bytes, std::size_t count) override { text.append(bytes, count); }
    std::string text;
};

std::string report_of(const environment& values) {
    string_sink sink;
    qv::profiler::stream::TextStream out(sink);
    write_environment(out, values);
    return sink.text;
}

TEST(EnvironmentReport, EveryKeyInOrder) {
    environment values;
    values.build = {"1.2.3.4", "2024-05-06T07:08:09Z", "GCC 12", "1.81.0"};
    values.security = {"Medium", true};
    values.system = {10, 0, 19045, 2, L"SP", 1, 2, 0x100, 1, 0x30};
    values.processor = {"x64", 9, 12, 4096, 0x10000, 0x7FFFFFFEFFFF, 0xFF, 8, 65536, 6, 0x9E0D};
    values.session = {1714979289, 120, L"HOST", L"user"};
    values.process = {4660, L"C:\\pdb_server.exe", L"pdb_server \"a\nb\""};
    EXPECT_EQ(report_of(values),
              "Build BuildVersion=1.2.3.4 BuildTime=2024-05-06T07:08:09Z MsvcVersion='GCC 12' BoostVersion=1.81.0 "
              "Configuration=Release Integrity=Medium Signed=yes\r\n"
              "\tSystem MajorVersion=10 MinorVersion=0 BuildNumber=19045 PlatformId=2 CSDVersion='SP' "
              "ServicePackMajor=1 ServicePackMinor=2 SuiteMask=0100 ProductType=1 VistaProductType=00000030\r\n"
              "\tProcessor Architecture=x64 ProcessorArchitecture=9 NativeProcessorArchitecture=12 PageSize=4096 "
              "MinimumApplicationAddress=0000000000010000 MaximumApplicationAddress=00007FFFFFFEFFFF "
              "ActiveProcessorMask=00000000000000FF NumberOfProcessors=8 AllocationGranularity=65536 "
              "ProcessorLevel=6 ProcessorRevision=9E0D\r\n"
              "\tEnvironment UtcTime=2024-05-06T07:08:09Z LocalTime=2024-05-06T09:08:09+02:00 ComputerName='HOST' "
              "UserName='user'\r\n"
              "\tProcess ProcessId=4660 Executable='C:\\pdb_server.exe' CommandLine='pdb_server \"a\x7F"
              "b\"'");
}

TEST(EnvironmentReport, LocalTimeWestOfUtcAndBeforeThePreviousMidnight) {
    environment values;
    values.session = {1709258400, -(3 * 60 + 30), L"", L""};  // 2024-03-01T02:00:00Z
    EXPECT_NE(report_of(values).find("LocalTime=2024-02-29T22:30:00-03:30 "), std::string::npos);
}

// A record that breaks is read as two: so no value may begin a line of its own.
TEST(EnvironmentReport, HostileValuesStayOnTheirLine) {
    const std::string controls = "\x01\x1F\r\n00001A2C Finished\r\n\t";
    std::wstring hostile(controls.begin(), controls.end());
    hostile += {L'\0', L'\'', L'x', wchar_t(0xFFFF)};
    const std::wstring endless(100000, L'\n');
    environment values;
    values.build = {controls.c_str(), controls.c_str(), controls, controls};
    values.security.integrity = controls;
    values.system.service_pack = hostile;
    values.processor.architecture = controls.c_str();
    values.session = {-1, 1, hostile, hostile + endless};
    values.process = {1, hostile, hostile + endless};
    const std::string report = report_of(values);
    std::vector<std::string> lines;
    boost::algorithm::iter_split(lines, report, boost::algorithm::first_finder("\r\n"));
    EXPECT_THAT(lines, ElementsAre(StartsWith("Build BuildVersion="), StartsWith("\tSystem MajorVersion="),
                                   StartsWith("\tProcessor Architecture="), StartsWith("\tEnvironment UtcTime=1969-"),
                                   StartsWith("\tProcess ProcessId=1 ")));
    for (const std::string& line : lines)
        EXPECT_TRUE(std::none_of(line.begin(), line.end(), qv::text::is_line_control));
    const std::string shown =
        "'\x7F\x7F\x7F\x7F"
        "00001A2C Finished\x7F\x7F\t\x7F'x\xEF\xBF\xBF'";
    EXPECT_THAT(report, HasSubstr("CSDVersion=" + shown + " "));
    EXPECT_THAT(report, HasSubstr("ComputerName=" + shown + " "));
    EXPECT_THAT(report, HasSubstr("Executable=" + shown + " "));
    EXPECT_TRUE(report.ends_with(std::string(endless.size(), '\x7F') + "'"));
}

TEST(EnvironmentReport, SystemAnswersWhatItMust) {
    const environment values = query_environment();
    EXPECT_NE(values.system.major, 0u);
    EXPECT_NE(values.processor.count, 0u);
    EXPECT_NE(values.processor.page_size, 0u);
    EXPECT_NE(std::string(values.processor.architecture), "");
    EXPECT_GT(values.session.seconds_since_1970, 1'700'000'000);
    EXPECT_LE(values.session.minutes_east_of_utc, 14 * 60);
    EXPECT_GE(values.session.minutes_east_of_utc, -14 * 60);
    EXPECT_NE(values.session.computer, L"");
    EXPECT_NE(values.process.id, 0u);
    EXPECT_NE(values.process.executable.find(L"qv_diagnostics_test"), std::wstring::npos);
    EXPECT_NE(values.process.command_line.find(L"qv_diagnostics_test"), std::wstring::npos);
#ifdef _WIN32
    EXPECT_NE(values.security.integrity, "Unknown");
    EXPECT_NE(values.session.user, L"");
    EXPECT_LT(values.processor.minimum_address, values.processor.maximum_address);
#endif
}

TEST(EnvironmentReport, BuildIsKnown) {
    string_sink sink;
    qv::profiler::stream::TextStream out(sink);
    write_environment_report(out);
    for (const char* empty : {"BuildVersion= ", "BuildTime= ", "MsvcVersion='' ", "BoostVersion= "})
        EXPECT_EQ(sink.text.find(empty), std::string::npos) << empty;
}

}  // namespace
