// The services where there is neither GetEnvironmentVariableW nor a symbol-server library.
#include "pdb_server/src/system/platform_services.h"

#include <cstdlib>
#include <cwchar>
#include <stdexcept>

#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr std::uint32_t error_environment_variable_not_found = 203;
constexpr std::uint32_t error_no_unicode_translation = 1113;

std::uint32_t get_environment_variable(const wchar_t* name, wchar_t* buffer, std::uint32_t size, std::uint32_t& error) {
    const char* value = std::getenv(text::to_utf8(name).c_str());
    error = value == nullptr ? error_environment_variable_not_found : 0;
    if (value == nullptr) return 0;
    std::wstring wide;
    try {
        wide = text::to_utf16(value);
    } catch (const std::runtime_error&) {
        error = error_no_unicode_translation;
        return 0;
    }
    if (wide.size() >= size) return static_cast<std::uint32_t>(wide.size() + 1);
    std::wmemcpy(buffer, wide.c_str(), wide.size() + 1);
    return static_cast<std::uint32_t>(wide.size());
}

boost::filesystem::path find_no_file(const std::wstring&, const std::wstring&, const GUID&, std::uint32_t) {
    return {};
}

}  // namespace

bool is_local_path(const boost::filesystem::path& place) {
    return place.native().starts_with('/') && !place.native().starts_with("//");
}

const platform_services& system_services() {
    static const platform_services services = {&get_environment_variable, &find_no_file};
    return services;
}

}  // namespace qv::profiler::pdb_server
