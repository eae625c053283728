// Start and end of an engine: search options, search paths of the environment, termination.
#include <algorithm>
#include <iterator>

#include "core/src/bridges/bridge_protocol.h"
#include "pdb_server/src/pdb_processor.h"
#include "pdb_server/src/pdb_processor_dsr.h"
#include "qv/diagnostics/exception.h"
#include "qv/diagnostics/log.h"
#include "qv/diagnostics/log_keys.h"
#include "qv/text/path.h"
#include "qv/text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor";
constexpr throw_site add_search_path_site{
    "void __cdecl qv::profiler::pdb_server::pdb_processor::add_search_path_from_environment(const wchar_t *)", source};
constexpr throw_site init_site{
    "void __cdecl qv::profiler::pdb_server::pdb_processor::init(unsigned char,const class std::vector<class "
    "std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> >,class std::allocator<"
    "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > > > &)",
    source};
constexpr const char* init_tag = "PP::Init";
constexpr const char* environment_tag = "PP::AddSearchPathFromEnvironment";

constexpr std::uint32_t environment_variable_not_found = 0x800700CB;

// Positive Win32 codes become HRESULTs of the Win32 facility; anything else is one already.
std::uint32_t hresult_from_win32(std::uint32_t code) {
    return code == 0 || code > 0x7FFFFFFF ? code : 0x80070000 | (code & 0xFFFF);
}

// One letter for each policy bit, a capital for a set one.
std::string policy_letters(std::uint8_t policy) {
    struct letter {
        search_policy bit;
        char set, clear;
    };
    static constexpr letter letters[] = {{policy_reference_path, 'F', 'f'},
                                         {policy_original_path, 'O', 'o'},
                                         {policy_symbol_server, 'S', 's'},
                                         {policy_registry, 'R', 'r'}};
    std::string text;
    for (const letter& l : letters) text += (policy & l.bit) != 0 ? l.set : l.clear;
    return text;
}

void log_search_options(std::uint8_t policy, const search_path_list& paths, const stop_check& stop) {
    log::Logger& logger = log::Logger::instance();
    if (!logger.enabled(log::component::PdbGt)) return;
    logger.record([&](log::TextStream& out) { out.text(init_tag).key("policy").text(policy_letters(policy).c_str()); });
    for (const auto& path : paths) {
        throw_if_stopping(stop, init_site);
        logger.record(
            [&](log::TextStream& out) { out.text(init_tag).key(log::key::path).quoted(text::to_wide(path)); });
    }
}

void log_environment(const wchar_t* name, const std::vector<std::wstring>& elements) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text(environment_tag).key(log::key::name).quoted(std::wstring_view(name));
        for (const std::wstring& element : elements) out.key(log::key::path).quoted(element);
    });
}

// The value of the variable, or the HRESULT of why there is none (0 with an empty value).
std::uint32_t read_environment(const platform_services& services, const wchar_t* name, std::wstring& value) {
    std::wstring buffer(256, L'\0');
    for (;;) {
        std::uint32_t error = 0;
        const auto size = static_cast<std::uint32_t>(buffer.size());
        const std::uint32_t length = services.get_environment_variable(name, buffer.data(), size, error);
        if (length == 0) return hresult_from_win32(error);
        if (length < size) {
            value.assign(buffer, 0, length);
            return 0;
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace

void pdb_processor::init(std::uint8_t policy, const std::vector<std::wstring>& paths) {
    const log::scope scope(log::component::PdbGt, init_tag);
    dsr_ = dsr_init();
    policy_ = policy;
    search_paths_.clear();
    search_paths_.reserve(paths.size());
    for (const std::wstring& path : paths) search_paths_.push_back(text::to_path(path));
    log_search_options(policy_, search_paths_, stop_);
    add_search_path_from_environment(L"_NT_ALT_SYMBOL_PATH");
    add_search_path_from_environment(L"_NT_SYMBOL_PATH");
}

void pdb_processor::terminate() noexcept {
    if (!dsr_) return;
    const log::scope scope(log::component::PdbGt, "PP::Term");
    modules_.clear();
    dsr_.reset();
}

void pdb_processor::add_search_path_from_environment(const wchar_t* name) {
    std::wstring value;
    const std::uint32_t hresult = read_environment(services_, name, value);
    if (hresult == environment_variable_not_found) {
        log_environment(name, {});
        return;
    }
    if (hresult != 0)
        throw_hresult_error("Failed to get environment variable", static_cast<std::int32_t>(hresult),
                            add_search_path_site, errtag_environment_name_w{name});
    const std::vector<std::wstring> elements = split_search_path(value);
    log_environment(name, elements);
    search_path_list added;
    for (const std::wstring& element : elements) added.push_back(text::to_path(element));
    search_paths_.reserve(search_paths_.size() + added.size());
    std::move(added.begin(), added.end(), std::back_inserter(search_paths_));
}

}  // namespace qv::profiler::pdb_server
