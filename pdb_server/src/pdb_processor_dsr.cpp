#include "pdb_server/src/pdb_processor_dsr.h"

#include <utility>

#include "base/exception.h"
#include "common/com/metadata_import.h"
#include "common/shim_enum.h"
#include "diagnostics/log.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "pdb_server/src/dsr/dsr_module_data.h"
#include "pdb_server/src/system/windows/clr_host.h"
#include "text/path.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";
constexpr throw_site load_module_site{
    "class std::shared_ptr<struct qv::profiler::pdb_server::module_data> __cdecl qv::profiler::pdb_server::"
    "dsr_load_module(const class std::shared_ptr<struct qv::profiler::pdb_server::dsr_data> &,const class "
    "boost::filesystem::path &,const struct _GUID &,const class std::vector<class boost::filesystem::path,class "
    "std::allocator<class boost::filesystem::path> > &,unsigned char,const class std::function<bool __cdecl(void)> &)",
    source};
constexpr DWORD open_for_reading = 0;

com_services system_com_services() {
    const auto create_instance = [](REFCLSID class_id, REFIID interface_id, void** object) {
        return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, interface_id, object);
    };
    return {create_instance, clr_host::create_instance(), &CoTaskMemFree};
}

com_hld<com::ISymUnmanagedBinder2> create_symbol_binder(const com_services& services) {
    static constexpr throw_site here{
        "class qv::com_hld<struct qv::com::ISymUnmanagedBinder2> __cdecl qv::profiler::pdb_server::"
        "`anonymous-namespace'::create_symbol_binder(const struct qv::profiler::pdb_server::com_services &)",
        source};
    com_hld<com::ISymUnmanagedBinder2> binder;
    const HRESULT result =
        services.create_instance(com::clsid_symbol_binder, com::iid_of<com::ISymUnmanagedBinder2>, binder.put_void());
    if (FAILED(result)) throw_hresult_error("Can't create symbol binder", result, here);
    return binder;
}

// Empty on a machine that has no host library, or one that lists no runtimes.
com_hld<com::ICLRMetaHost> get_meta_host(const com_services& services) {
    static constexpr throw_site here{
        "class qv::com_hld<struct qv::com::ICLRMetaHost> __cdecl qv::profiler::pdb_server::"
        "`anonymous-namespace'::get_meta_host(const struct qv::profiler::pdb_server::com_services &)",
        source};
    com_hld<com::ICLRMetaHost> host;
    if (!services.clr_create_instance) return host;
    const HRESULT result =
        services.clr_create_instance(com::clsid_clr_meta_host, com::iid_of<com::ICLRMetaHost>, host.put_void());
    if (result == E_NOTIMPL) return {};
    if (FAILED(result)) throw_hresult_error("Can't get metahost", result, here);
    return host;
}

com_hld<com::IMetaDataDispenser> get_dispenser(const com_hld<com::ICLRRuntimeInfo>& runtime) {
    static constexpr throw_site here{
        "class qv::com_hld<struct qv::com::IMetaDataDispenser> __cdecl qv::profiler::pdb_server::"
        "`anonymous-namespace'::get_dispenser(const class qv::com_hld<struct qv::com::ICLRRuntimeInfo> &)",
        source};
    if (!runtime) throw_error("Runtime with metadata dispenser was not found", here);
    com_hld<com::IMetaDataDispenser> dispenser;
    const HRESULT result = runtime->GetInterface(com::clsid_metadata_dispenser, com::iid_of<com::IMetaDataDispenser>,
                                                 dispenser.put_void());
    if (FAILED(result)) throw_hresult_error("Can't get metadata dispemnser", result, here);
    return dispenser;
}

com_hld<com::IMetaDataDispenser> create_dispenser(const com_services& services) {
    static constexpr throw_site here{
        "class qv::com_hld<struct qv::com::IMetaDataDispenser> __cdecl qv::profiler::pdb_server::"
        "`anonymous-namespace'::create_dispenser(const struct qv::profiler::pdb_server::com_services &)",
        source};
    com_hld<com::IMetaDataDispenser> dispenser;
    const HRESULT result = services.create_instance(com::clsid_metadata_dispenser, com::iid_of<com::IMetaDataDispenser>,
                                                    dispenser.put_void());
    if (FAILED(result)) throw_hresult_error("Can't create metadata dispenser", result, here);
    return dispenser;
}

bool is_out_of_memory(const exception& error) {
    const auto* result = error.find<errtag_hresult>();
    return result != nullptr && *result == E_OUTOFMEMORY;
}

// Creates one of the services. Where the platform goes without it, its failure is kept and the answer is false.
template <class Create>
bool create_if_there(dsr_data& data, Create create) {
    try {
        create();
        return true;
    } catch (const exception& error) {
        if (is_out_of_memory(error)) throw;
        log::write_warning();
        data.failure = std::current_exception();
        return false;
    }
}

void open_services(dsr_data& data) {
    if (!create_if_there(data, [&] { data.binder = create_symbol_binder(data.services); })) return;
    const com_hld<com::ICLRMetaHost> host = get_meta_host(data.services);
    const com_hld<com::ICLRRuntimeInfo> runtime =
        host ? shim::find_newest_runtime(host) : com_hld<com::ICLRRuntimeInfo>();
    create_if_there(data, [&] { data.dispenser = host ? get_dispenser(runtime) : create_dispenser(data.services); });
}

com_hld<IUnknown> open_metadata_scope(const dsr_data& data, const std::wstring& image) {
    static constexpr throw_site here{
        "class qv::com_hld<struct IUnknown> __cdecl qv::profiler::pdb_server::`anonymous-namespace'::"
        "open_metadata_scope(const struct qv::profiler::pdb_server::dsr_data &,const class std::basic_string<wchar_t,"
        "struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &)",
        source};
    com_hld<IUnknown> scope;
    const HRESULT result =
        data.dispenser->OpenScope(image.c_str(), open_for_reading, com::iid_of<com::IMetaDataImport>, scope.put());
    if (FAILED(result)) throw_hresult_error("Can't open metadata scope", result, here, errtag_file_w{image});
    return scope;
}

// A reader that finds nothing along one piece of the search path is asked again with the next.
HRESULT find_reader(const dsr_data& data, IUnknown* importer, const std::wstring& image, search_path_pieces pieces,
                    std::uint8_t policy, const stop_check& stop, com_hld<com::ISymUnmanagedReader>& reader) {
    for (;;) {
        throw_if_stopping(stop, load_module_site);
        const HRESULT result =
            data.binder->GetReaderForFile2(importer, image.c_str(), pieces.next().c_str(), policy, reader.put());
        if (SUCCEEDED(result) || pieces.at_end()) return result;
    }
}

void log_no_symbols(const GUID& mvid) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text("DSR::LoadModule").key(log::key::result).text("no_sud").key(log::key::mvid).guid(mvid);
    });
}

}  // namespace

std::shared_ptr<dsr_data> dsr_init() {
    return dsr_init(system_com_services());
}

bool dsr_is_available(const std::shared_ptr<dsr_data>& data) noexcept {
    return !data->failure;
}

std::shared_ptr<dsr_data> dsr_init(const com_services& services) {
    auto data = std::make_shared<dsr_data>();
    data->services = services;
    open_services(*data);
    return data;
}

std::shared_ptr<module_data> dsr_load_module(const std::shared_ptr<dsr_data>& data, const boost::filesystem::path& path,
                                             const GUID& mvid, const search_path_list& search_paths,
                                             std::uint8_t policy, const stop_check& stop) {
    if (data->failure) std::rethrow_exception(data->failure);
    const std::wstring image = text::to_wide(path);
    const com_hld<IUnknown> importer = open_metadata_scope(*data, image);
    com_hld<com::ISymUnmanagedReader> reader;
    if (FAILED(find_reader(*data, importer.get(), image, search_path_pieces(search_paths), policy, stop, reader))) {
        log_no_symbols(mvid);
        return nullptr;
    }
    return std::make_shared<dsr_module_data>(mvid, std::move(reader), data->services.task_mem_free);
}

}  // namespace qv::profiler::pdb_server
