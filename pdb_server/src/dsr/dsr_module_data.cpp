#include "pdb_server/src/dsr/dsr_module_data.h"

#include <unordered_map>
#include <utility>

#include "base/exception.h"
#include "diagnostics/log.h"
#include "pdb_server/src/dsr/method_points.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";
constexpr const char* destroy_context = "DSR::DestoryPdb";

}  // namespace

dsr_module_data::dsr_module_data(const GUID& id, com_hld<com::ISymUnmanagedReader> reader,
                                 std::function<void(void* block)> task_mem_free)
    : module_data(id), reader_(std::move(reader)), task_mem_free_(std::move(task_mem_free)) {
    qv::detail::check_interface(reader_.get());
}

dsr_module_data::~dsr_module_data() {
    try {
        destroy_reader();
    } catch (...) {
        log::write_warning(destroy_context);
    }
}

void dsr_module_data::destroy_reader() const {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::dsr_module_data::destroy_reader(void) const", source};
    const log::scope scope(log::component::PdbGt, destroy_context);
    const auto disposable = reader_.query_nullable<com::ISymUnmanagedDispose>();
    if (!disposable) return;
    const HRESULT result = disposable->Destroy();
    if (FAILED(result)) throw_hresult_error("Can't unload PDB file", result, here);
}

void dsr_module_data::get_source_server_data(std::vector<std::uint8_t>& data) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::dsr_module_data::get_source_server_data(class std::vector<unsigned "
        "char,class std::allocator<unsigned char> > &)",
        source};
    data.clear();
    const auto module = reader_.query_nullable<com::ISymUnmanagedSourceServerModule>();
    if (!module) return;
    ULONG size = 0;
    BYTE* block = nullptr;
    const HRESULT result = module->GetSourceServerData(&size, &block);
    const std::unique_ptr<BYTE, const std::function<void(void*)>&> owner(block, task_mem_free_);
    if (FAILED(result)) throw_hresult_error("Can't get source server data", result, here);
    if (block != nullptr) data.assign(block, block + size);
}

void dsr_module_data::get_method_offsets(std::uint32_t method_token, point_values& offsets) {
    offsets = read_point_offsets(reader_, method_token);
}

void dsr_module_data::get_method_ranges(std::uint32_t method_token, point_values& document_ids,
                                        point_values& start_lines, point_values& start_columns, point_values& end_lines,
                                        point_values& end_columns) {
    method_points points = read_points(reader_, method_token);
    document_ids.clear();
    document_ids.reserve(points.documents.size());
    // Many points share one document object, whose name, which may be long, need not be asked for again.
    std::unordered_map<const com::ISymUnmanagedDocument*, std::uint32_t> ids{{nullptr, 0}};
    for (const auto& document : points.documents) {
        const auto [entry, is_new] = ids.try_emplace(document.get());
        if (is_new) entry->second = enter_document(document);
        document_ids.push_back(entry->second);
    }
    start_lines = std::move(points.start_lines);
    start_columns = std::move(points.start_columns);
    end_lines = std::move(points.end_lines);
    end_columns = std::move(points.end_columns);
}

std::uint32_t dsr_module_data::enter_document(const com_hld<com::ISymUnmanagedDocument>& document) {
    auto entry = std::make_shared<document_data>(document_data{read_document_url(document), document});
    // A copy: the entry may be replaced by the one that carries the URL already.
    const std::wstring url = entry->url;
    std::uint32_t id = 0;
    documents_.insert_or_get(url, entry, id);
    return id;
}

void dsr_module_data::get_document(std::uint32_t document_id, std::wstring& url, GUID& checksum_algorithm,
                                   std::vector<std::uint8_t>& checksum) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::dsr_module_data::get_document(unsigned int,class std::basic_string<"
        "wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,struct _GUID &,class "
        "std::vector<unsigned char,class std::allocator<unsigned char> > &)",
        source};
    const std::shared_ptr<document_data> found = documents_.find_atom(document_id);
    if (!found) throw_error("Unknown PDB document", here);
    url = found->url;
    checksum_algorithm = read_checksum_algorithm(found->document);
    checksum = read_checksum(found->document);
}

}  // namespace qv::profiler::pdb_server
