#include "pdb_server/src/pdb_processor.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/exception.h"
#include "core/bridge_protocol.h"
#include "diagnostics/log.h"
#include "pdb_server/src/pdb_processor_dsr.h"
#include "text/path.h"
#include "text/symbol_path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor";

// --- Start and end: search options, search paths of the environment.

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
        logger.record([&](log::TextStream& out) {
            out.text(init_tag).key(log::key::path).quoted(symbol_path::without_secrets(text::to_wide(path)));
        });
    }
}

void log_passed_over(const boost::filesystem::path& element) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text(init_tag).key(log::key::result).text("forbidden_by_operator");
        out.key(log::key::path).quoted(symbol_path::without_secrets(text::to_wide(element)));
    });
}

void log_environment(const wchar_t* name, const std::vector<std::wstring_view>& elements) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text(environment_tag).key(log::key::name).quoted(std::wstring_view(name));
        for (const auto element : elements) out.key(log::key::path).quoted(symbol_path::without_secrets(element));
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

// --- The registry and the queries.

constexpr const char* offsets_tag = "PP::GetMethodOffsets";

void check_module_id(unsigned int mid, const throw_location& where) {
    if (mid == 0) throw_error("Invalid PDB module id", where);
}

bool is_method_token(unsigned int token) {
    return (token & 0xFFFFFF) != 0 && (token & 0xFF000000) == method_table;
}

void check_method_token(unsigned int token, const throw_location& where) {
    if (!is_method_token(token)) throw_error("Invalid method token", where);
}

// Writes one record of the registry: the operation, the module id, then what `body` adds.
template <class Body>
void log_operation(const char* tag, unsigned int mid, Body&& body) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text(tag).key(log::key::module_id).Dec(mid);
        body(out);
    });
}

void log_entry(const char* tag, unsigned int mid) {
    log_operation(tag, mid, [](log::TextStream&) {});
}

void log_method_entry(const char* tag, unsigned int mid, unsigned int token) {
    log_operation(tag, mid, [&](log::TextStream& out) { out.key(log::key::token).Dec(token); });
}

void log_method_result(const char* tag, unsigned int mid, unsigned int token, std::size_t count) {
    log_operation(tag, mid, [&](log::TextStream& out) {
        out.key(log::key::token)
            .Dec(token)
            .key(log::key::result)
            .text(log::word_of(log::state::ok))
            .key(log::key::count)
            .Dec(static_cast<unsigned long long>(count));
    });
}

void log_generated_point(const char* tag, std::size_t index) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text(tag).key("st").Dec(static_cast<unsigned long long>(index)).key(log::key::result).text("generated");
    });
}

}  // namespace

const char* const pdb_processor::registry_traits::insert_or_throw_signature =
    "void __cdecl qv::profiler::detail::base_slave_key_atom_map<unsigned int,struct _GUID,class std::shared_ptr<struct "
    "qv::profiler::pdb_server::pdb_processor::module_data> >::insert_or_throw(const unsigned int &,const class "
    "std::shared_ptr<struct qv::profiler::pdb_server::pdb_processor::module_data> &)";

pdb_processor::pdb_processor(const platform_services& services, stop_check stop, search_observer observer)
    : services_(services), stop_(std::move(stop)), observer_(std::move(observer)) {}

pdb_processor::~pdb_processor() {
    terminate();
}

void pdb_processor::init(std::uint8_t policy, const std::vector<std::wstring>& paths) {
    const log::scope scope(log::component::PdbGt, init_tag);
    dsr_ = dsr_init();
    // The recorded path of a classic PDB is opened by a reader that asks nobody.
    policy_ = services_.may_look_at ? static_cast<std::uint8_t>(policy & ~policy_original_path) : policy;
    search_paths_.clear();
    search_paths_.reserve(paths.size());
    for (const std::wstring& element : paths) {
        auto path = text::to_path(element);
        if (services_.lets_look_at(path))
            search_paths_.push_back(std::move(path));
        else
            log_passed_over(path);
    }
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
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::pdb_processor::add_search_path_from_environment(const wchar_t *)",
        source};
    std::wstring value;
    const std::uint32_t hresult = read_environment(services_, name, value);
    if (hresult == environment_variable_not_found) {
        log_environment(name, {});
        return;
    }
    if (hresult != 0)
        throw_hresult_error("Failed to get environment variable", static_cast<std::int32_t>(hresult), here,
                            errtag_environment_name_w{name});
    const auto elements = symbol_path::split(value, L';', symbol_path::empty_parts::kept);
    log_environment(name, elements);
    search_path_list added;
    for (const auto element : elements) added.push_back(text::to_path(std::wstring(element)));
    search_paths_.reserve(search_paths_.size() + added.size());
    std::move(added.begin(), added.end(), std::back_inserter(search_paths_));
}

std::shared_ptr<module_data> pdb_processor::find_module(unsigned int mid, const throw_location& where) const {
    std::shared_ptr<module_data> module = modules_.find_atom(mid);
    if (!module) throw_error("Unknown PDB module", where);
    return module;
}

void pdb_processor::unload_module(unsigned int mid) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::pdb_processor::unload_module(unsigned int)", source};
    log_entry("PP::UnloadModule", mid);
    check_module_id(mid, here);
    modules_.erase_atom(mid);
}

void pdb_processor::get_method_offsets(unsigned int mid, unsigned int token, point_values& offsets) const {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::pdb_processor::get_method_offsets(unsigned int,unsigned int,class "
        "std::vector<unsigned int,class std::allocator<unsigned int> > &) const",
        source};
    log_method_entry(offsets_tag, mid, token);
    check_module_id(mid, here);
    check_method_token(token, here);
    find_module(mid, here)->get_method_offsets(token, offsets);
    log_method_result(offsets_tag, mid, token, offsets.size());
}

void pdb_processor::get_method_ranges(unsigned int mid, unsigned int token, point_values& document_ids,
                                      point_values& start_lines, point_values& start_columns, point_values& end_lines,
                                      point_values& end_columns) const {
    static constexpr const char* tag = "PP::GetMethodRanges";
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::pdb_processor::get_method_ranges(unsigned int,unsigned int,class "
        "std::vector<unsigned int,class std::allocator<unsigned int> > &,class std::vector<unsigned int,class "
        "std::allocator<unsigned int> > &,class std::vector<unsigned int,class std::allocator<unsigned int> > &,class "
        "std::vector<unsigned int,class std::allocator<unsigned int> > &,class std::vector<unsigned int,class "
        "std::allocator<unsigned int> > &) const",
        source};
    log_method_entry(tag, mid, token);
    check_module_id(mid, here);
    check_method_token(token, here);
    find_module(mid, here)->get_method_ranges(token, document_ids, start_lines, start_columns, end_lines, end_columns);
    log_method_result(tag, mid, token, document_ids.size());
    if (!log::Logger::instance().enabled(log::component::PdbGt)) return;
    for (std::size_t i = 0; i < start_lines.size() && i < end_lines.size(); ++i)
        if (start_lines[i] == hidden_line || end_lines[i] == hidden_line) log_generated_point(tag, i);
}

void pdb_processor::get_document(unsigned int mid, unsigned int did, std::wstring& url, GUID& checksum_algorithm,
                                 std::vector<unsigned char>& checksum) const {
    static constexpr const char* tag = "PP::GetDocument";
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::pdb_processor::get_document(unsigned int,unsigned int,class "
        "std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,struct _GUID "
        "&,class std::vector<unsigned char,class std::allocator<unsigned char> > &) const",
        source};
    log_operation(tag, mid, [&](log::TextStream& out) { out.key(log::key::document_id).Dec(did); });
    check_module_id(mid, here);
    if (did == 0) throw_error("Invalid PDB document id", here);
    find_module(mid, here)->get_document(did, url, checksum_algorithm, checksum);
    log_operation(tag, mid, [&](log::TextStream& out) {
        out.key(log::key::document_id).Dec(did).key("url").quoted(url).key("chkAlgId").guid(checksum_algorithm);
        out.key("chkSize").Dec(static_cast<unsigned long long>(checksum.size()));
    });
}

void pdb_processor::get_source_server_data(unsigned int mid, std::vector<unsigned char>& data) const {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::pdb_processor::get_source_server_data(unsigned int,class "
        "std::vector<unsigned char,class std::allocator<unsigned char> > &) const",
        source};
    log_entry("PP::GetSourceServerData", mid);
    check_module_id(mid, here);
    find_module(mid, here)->get_source_server_data(data);
    // Log readers know this result under the tag of another query, so the tag stays.
    log_operation(offsets_tag, mid, [&](log::TextStream& out) {
        out.key("data").quoted(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
    });
}

}  // namespace qv::profiler::pdb_server
