#include "diagnostics/environment.h"

#include <array>
#include <boost/version.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "build_info.h"

namespace qv::log {
namespace {

using profiler::stream::TextStream;

// "2024-05-06T07:08:09Z" and "2024-05-06T09:08:09+02:00".
std::string iso_8601(std::int64_t seconds_since_1970, int minutes_east, bool utc) {
    using namespace std::chrono;
    const sys_seconds time{seconds(seconds_since_1970) + minutes(minutes_east)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::array<char, 64> text;
    const int length = std::snprintf(
        text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    std::string result(text.data(), static_cast<std::size_t>(length));
    if (utc) return result + "Z";
    const int offset = std::abs(minutes_east);
    std::snprintf(text.data(), text.size(), "%c%02d:%02d", minutes_east < 0 ? '-' : '+', offset / 60, offset % 60);
    return result + text.data();
}

void write_build(TextStream& out, const build_facts& build, const security_facts& security) {
    out.text("Build");
    out.key("BuildVersion").text(build.version);
    out.key("BuildTime").text(build.time);
    out.key("MsvcVersion").quoted(build.compiler);
    out.key("BoostVersion").text(build.boost.c_str());
    out.key("Configuration").text("Release");
    out.key("Integrity").text(security.integrity.c_str());
    out.key("Signed").text(security.is_signed ? "yes" : "no");
}

void write_system(TextStream& out, const system_facts& system) {
    out.new_line().text("System");
    out.key("MajorVersion").Dec(system.major);
    out.key("MinorVersion").Dec(system.minor);
    out.key("BuildNumber").Dec(system.build);
    out.key("PlatformId").Dec(system.platform_id);
    out.key("CSDVersion").quoted(system.service_pack);
    out.key("ServicePackMajor").Dec(system.service_pack_major);
    out.key("ServicePackMinor").Dec(system.service_pack_minor);
    out.key("SuiteMask").Hex(system.suite_mask);
    out.key("ProductType").Dec(system.product_type);
    out.key("VistaProductType").Hex(system.vista_product_type);
}

void write_processor(TextStream& out, const processor_facts& processor) {
    out.new_line().text("Processor");
    out.key("Architecture").text(processor.architecture);
    out.key("ProcessorArchitecture").Dec(processor.process);
    out.key("NativeProcessorArchitecture").Dec(processor.native);
    out.key("PageSize").Dec(processor.page_size);
    out.key("MinimumApplicationAddress").Hex(processor.minimum_address);
    out.key("MaximumApplicationAddress").Hex(processor.maximum_address);
    out.key("ActiveProcessorMask").Hex(processor.active_mask);
    out.key("NumberOfProcessors").Dec(processor.count);
    out.key("AllocationGranularity").Dec(processor.allocation_granularity);
    out.key("ProcessorLevel").Dec(processor.level);
    out.key("ProcessorRevision").Hex(processor.revision);
}

void write_session(TextStream& out, const session_facts& session) {
    out.new_line().text("Environment");
    out.key("UtcTime").text(iso_8601(session.seconds_since_1970, 0, true).c_str());
    out.key("LocalTime").text(iso_8601(session.seconds_since_1970, session.minutes_east_of_utc, false).c_str());
    out.key("ComputerName").quoted(session.computer);
    out.key("UserName").quoted(session.user);
}

void write_process(TextStream& out, const process_facts& process) {
    out.new_line().text("Process");
    out.key("ProcessId").Dec(process.id);
    out.key("Executable").quoted(process.executable);
    out.key("CommandLine").quoted(process.command_line);
}

std::string boost_version() {
    return std::to_string(BOOST_VERSION / 100000) + "." + std::to_string(BOOST_VERSION / 100 % 1000) + "." +
           std::to_string(BOOST_VERSION % 100);
}

}  // namespace

void write_environment(TextStream& out, const environment& values) {
    write_build(out, values.build, values.security);
    write_system(out, values.system);
    write_processor(out, values.processor);
    write_session(out, values.session);
    write_process(out, values.process);
}

void write_environment_report(TextStream& out) {
    environment values = query_environment();
    values.build = {QV_BUILD_VERSION, QV_BUILD_TIME, QV_COMPILER_VERSION, boost_version()};
    write_environment(out, values);
}

}  // namespace qv::log
