#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "diagnostics/environment.h"
#include "text/utf.h"

namespace qv::log {
namespace {

// The system's text may be any bytes.
std::wstring wide(const std::string& bytes) {
    try {
        return text::to_utf16(bytes);
    } catch (const std::runtime_error&) {
        return {};
    }
}

system_facts query_system() {
    system_facts facts;
    utsname name{};
    if (::uname(&name) != 0) return facts;
    // A release such as "6.1.0-18-amd64"; what cannot be read stays 0.
    std::sscanf(name.release, "%9u.%9u.%9u", &facts.major, &facts.minor, &facts.build);
    facts.service_pack = wide(name.release);
    return facts;
}

processor_facts query_processor() {
    processor_facts facts;
#if defined(__x86_64__)
    facts.architecture = "x64";
    facts.process = facts.native = 9;  // as PE images number it
#elif defined(__aarch64__)
    facts.architecture = "ARM64";
    facts.process = facts.native = 12;
#endif
    const auto known = [](long value) { return value > 0 ? static_cast<std::uint32_t>(value) : 0u; };
    facts.page_size = known(::sysconf(_SC_PAGESIZE));
    facts.allocation_granularity = facts.page_size;
    facts.count = known(::sysconf(_SC_NPROCESSORS_ONLN));
    facts.active_mask = facts.count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << facts.count) - 1;
    return facts;
}

std::wstring query_user() {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> buffer;
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
    return wide(found->pw_name);
}

session_facts query_session() {
    session_facts facts;
    const std::time_t now = std::time(nullptr);
    facts.seconds_since_1970 = now;
    std::tm local{};
    if (::localtime_r(&now, &local) != nullptr) facts.minutes_east_of_utc = static_cast<int>(local.tm_gmtoff / 60);
    std::array<char, 256> host{};
    if (::gethostname(host.data(), host.size() - 1) == 0) facts.computer = wide(host.data());
    facts.user = query_user();
    return facts;
}

// The arguments with a blank between each two.
std::wstring query_command_line() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(file), {});
    if (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
    for (char& byte : bytes)
        if (byte == '\0') byte = ' ';
    return wide(bytes);
}

process_facts query_process() {
    boost::system::error_code failure;
    return {static_cast<std::uint32_t>(::getpid()),
            wide(boost::filesystem::read_symlink("/proc/self/exe", failure).native()), query_command_line()};
}

}  // namespace

environment query_environment() {
    return {{}, {}, query_system(), query_processor(), query_session(), query_process()};
}

}  // namespace qv::log
