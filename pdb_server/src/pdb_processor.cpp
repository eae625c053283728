#include "pdb_server/src/pdb_processor.h"

#include <utility>

#include "core/src/bridges/bridge_protocol.h"
#include "pdb_server/src/pdb_processor_dsr.h"
#include "qv/diagnostics/exception.h"
#include "qv/diagnostics/log.h"
#include "qv/diagnostics/log_keys.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor";
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

pdb_processor::pdb_processor(const platform_services& services, stop_check stop)
    : services_(services), stop_(std::move(stop)) {}

pdb_processor::~pdb_processor() {
    terminate();
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

void pdb_processor::get_method_offsets(unsigned int mid, unsigned int token, std::vector<unsigned int>& offsets) const {
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

void pdb_processor::get_method_ranges(unsigned int mid, unsigned int token, std::vector<unsigned int>& document_ids,
                                      std::vector<unsigned int>& start_lines, std::vector<unsigned int>& start_columns,
                                      std::vector<unsigned int>& end_lines,
                                      std::vector<unsigned int>& end_columns) const {
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
