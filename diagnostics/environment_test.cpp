#include "diagnostics/environment.h"

#include <gtest/gtest.h>

namespace {

using namespace qv::log;

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

// A record that breaks is read as two: so no value may begin a line of its own.
TEST(EnvironmentReport, EveryKeyInOrderAndEveryValueOnItsLine) {
    environment values;
    values.build = {"1.2\r.3.4", "2024-05-06T07:08:09Z", "GCC\n12", "1.81.0\n"};
    values.security = {"Medium\r\n", true};
    values.system = {10, 0, 19045, 2, L"S\nP", 1, 2, 0x100, 1, 0x30};
    values.processor = {"x64\n", 9, 12, 4096, 0x10000, 0x7FFFFFFEFFFF, 0xFF, 8, 65536, 6, 0x9E0D};
    values.session = {1714979289, 120, L"HO\rST", L"us\ner"};
    values.process = {4660, L"C:\\pdb_server.exe\n", L"pdb_server \"a\nb\""};
    EXPECT_EQ(report_of(values),
              "Build BuildVersion=1.2\x7F.3.4 BuildTime=2024-05-06T07:08:09Z MsvcVersion='GCC\x7F"
              "12' BoostVersion=1.81.0\x7F Configuration=Release Integrity=Medium\x7F\x7F Signed=yes\r\n"
              "\tSystem MajorVersion=10 MinorVersion=0 BuildNumber=19045 PlatformId=2 CSDVersion='S\x7FP' "
              "ServicePackMajor=1 ServicePackMinor=2 SuiteMask=0100 ProductType=1 VistaProductType=00000030\r\n"
              "\tProcessor Architecture=x64\x7F ProcessorArchitecture=9 NativeProcessorArchitecture=12 PageSize=4096 "
              "MinimumApplicationAddress=0000000000010000 MaximumApplicationAddress=00007FFFFFFEFFFF "
              "ActiveProcessorMask=00000000000000FF NumberOfProcessors=8 AllocationGranularity=65536 "
              "ProcessorLevel=6 ProcessorRevision=9E0D\r\n"
              "\tEnvironment UtcTime=2024-05-06T07:08:09Z LocalTime=2024-05-06T09:08:09+02:00 ComputerName='HO\x7FST' "
              "UserName='us\x7F"
              "er'\r\n\tProcess ProcessId=4660 Executable='C:\\pdb_server.exe\x7F' CommandLine='pdb_server \"a\x7F"
              "b\"'");
}

TEST(EnvironmentReport, LocalTimeWestOfUtcAndBeforeThePreviousMidnight) {
    environment values;
    values.session = {1709258400, -(3 * 60 + 30), L"", L""};  // 2024-03-01T02:00:00Z
    EXPECT_NE(report_of(values).find("LocalTime=2024-02-29T22:30:00-03:30 "), std::string::npos);
    values.session.minutes_east_of_utc = 0;
    EXPECT_NE(report_of(values).find("LocalTime=2024-03-01T02:00:00+00:00 "), std::string::npos);
}

TEST(EnvironmentReport, SystemAnswersWhatItMust) {
    const environment values = query_environment();
    EXPECT_TRUE(values.system.major != 0 && values.processor.count != 0 && values.processor.page_size != 0);
    EXPECT_LE(std::abs(values.session.minutes_east_of_utc), 14 * 60);
    EXPECT_NE(values.process.executable.find(L"qv_diagnostics_test"), std::wstring::npos);
    EXPECT_NE(values.process.command_line.find(L"qv_diagnostics_test"), std::wstring::npos);
#ifdef _WIN32
    EXPECT_NE(values.security.integrity, "Unknown");
    EXPECT_NE(values.session.user, L"");
#endif
}

}  // namespace
