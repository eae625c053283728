#include <windows.h>

#include <cstddef>
#include <vector>

#include "base/holders.h"
#include "base/module_path.h"
#include "diagnostics/environment.h"

namespace qv::log {
namespace {

const char* integrity_name(DWORD level) {
    struct step {
        DWORD least;
        const char* name;
    };
    constexpr DWORD medium_plus = SECURITY_MANDATORY_MEDIUM_RID + 0x100;  // not every SDK names it
    static constexpr step steps[] = {
        {SECURITY_MANDATORY_PROTECTED_PROCESS_RID, "Protected"},
        {SECURITY_MANDATORY_SYSTEM_RID, "System"},
        {SECURITY_MANDATORY_HIGH_RID, "High"},
        {medium_plus, "MediumPlus"},
        {SECURITY_MANDATORY_MEDIUM_RID, "Medium"},
        {SECURITY_MANDATORY_LOW_RID, "Low"},
    };
    for (const auto& [least, name] : steps)
        if (level >= least) return name;
    return "Untrusted";
}

std::string query_integrity() {
    constexpr const char* unknown = "Unknown";
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return unknown;
    const handle_hld token(opened);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenIntegrityLevel, nullptr, 0, &size);
    if (size < sizeof(TOKEN_MANDATORY_LABEL)) return unknown;
    std::vector<std::max_align_t> buffer(size / sizeof(std::max_align_t) + 1);
    if (!GetTokenInformation(token.get(), TokenIntegrityLevel, buffer.data(), size, &size)) return unknown;
    PSID sid = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(buffer.data())->Label.Sid;
    const UCHAR count = *GetSidSubAuthorityCount(sid);
    if (count == 0) return unknown;
    return integrity_name(*GetSidSubAuthority(sid, count - 1u));
}

// Whether the image has a certificate table. The loader has checked these headers.
bool query_signed() {
    const auto* base = reinterpret_cast<const unsigned char*>(GetModuleHandleW(nullptr));
    if (base == nullptr) return false;
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_OPTIONAL_HEADER& optional = headers->OptionalHeader;
    return optional.NumberOfRvaAndSizes > IMAGE_DIRECTORY_ENTRY_SECURITY &&
           optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_SECURITY].Size != 0;
}

// The system's true version: GetVersionEx tells programs without a manifest an older one.
bool query_version(OSVERSIONINFOEXW& version) {
    using rtl_get_version = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    if (ntdll == nullptr) return false;
    const auto call =
        reinterpret_cast<rtl_get_version>(reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")));
    version.dwOSVersionInfoSize = sizeof version;
    return call != nullptr && call(&version) == 0;
}

system_facts query_system() {
    system_facts facts;
    OSVERSIONINFOEXW version{};
    if (!query_version(version)) return facts;
    facts.major = version.dwMajorVersion;
    facts.minor = version.dwMinorVersion;
    facts.build = version.dwBuildNumber;
    facts.platform_id = version.dwPlatformId;
    facts.service_pack = version.szCSDVersion;
    facts.service_pack_major = version.wServicePackMajor;
    facts.service_pack_minor = version.wServicePackMinor;
    facts.suite_mask = version.wSuiteMask;
    facts.product_type = version.wProductType;
    DWORD product = 0;
    if (GetProductInfo(version.dwMajorVersion, version.dwMinorVersion, version.wServicePackMajor,
                       version.wServicePackMinor, &product))
        facts.vista_product_type = product;
    return facts;
}

processor_facts query_processor() {
    SYSTEM_INFO process{};
    SYSTEM_INFO native{};
    GetSystemInfo(&process);
    GetNativeSystemInfo(&native);
    processor_facts facts;
#if defined(_M_ARM64) || defined(__aarch64__)
    facts.architecture = "ARM64";
#else
    facts.architecture = "x64";
#endif
    facts.process = process.wProcessorArchitecture;
    facts.native = native.wProcessorArchitecture;
    facts.page_size = native.dwPageSize;
    facts.minimum_address = reinterpret_cast<std::uintptr_t>(native.lpMinimumApplicationAddress);
    facts.maximum_address = reinterpret_cast<std::uintptr_t>(native.lpMaximumApplicationAddress);
    facts.active_mask = native.dwActiveProcessorMask;
    facts.count = native.dwNumberOfProcessors;
    facts.allocation_granularity = native.dwAllocationGranularity;
    facts.level = native.wProcessorLevel;
    facts.revision = native.wProcessorRevision;
    return facts;
}

std::uint64_t ticks_of(const FILETIME& time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

// Ticks are 100 ns since 1601.
constexpr std::int64_t ticks_per_second = 10'000'000;
constexpr std::int64_t seconds_from_1601_to_1970 = 11'644'473'600;

int query_minutes_east(const FILETIME& now) {
    SYSTEMTIME utc;
    SYSTEMTIME local;
    FILETIME shifted;
    if (!FileTimeToSystemTime(&now, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) ||
        !SystemTimeToFileTime(&local, &shifted))
        return 0;
    // Both round to milliseconds, so the difference may miss the minute by less than one.
    const auto ticks = static_cast<std::int64_t>(ticks_of(shifted) - ticks_of(now));
    const std::int64_t half_minute = 30 * ticks_per_second;
    return static_cast<int>((ticks + (ticks < 0 ? -half_minute : half_minute)) / (60 * ticks_per_second));
}

session_facts query_session() {
    session_facts facts;
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    facts.seconds_since_1970 = static_cast<std::int64_t>(ticks_of(now)) / ticks_per_second - seconds_from_1601_to_1970;
    facts.minutes_east_of_utc = query_minutes_east(now);
    wchar_t name[512];
    DWORD size = 512;
    if (GetComputerNameW(name, &size)) facts.computer.assign(name, size);
    size = 512;
    if (GetUserNameW(name, &size) && size != 0) facts.user.assign(name, size - 1);
    return facts;
}

}  // namespace

environment query_environment() {
    return {{},
            {query_integrity(), query_signed()},
            query_system(),
            query_processor(),
            query_session(),
            {GetCurrentProcessId(), module_path(nullptr), GetCommandLineW()}};
}

}  // namespace qv::log
