#include "common/shim_enum.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "qv/diagnostics/exception.h"
#include "qv/diagnostics/log.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

com_hld<com::ISymUnmanagedBinder2> create_symbol_binder(const com_services& services) {
    com_hld<com::ISymUnmanagedBinder2> binder;
    const HRESULT result =
        services.create_instance(com::clsid_symbol_binder, com::iid_of<com::ISymUnmanagedBinder2>, binder.put_void());
    if (FAILED(result))
        throw_hresult_error(
            "Can't create symbol binder", result,
            "class qv::com_hld<struct qv::com::ISymUnmanagedBinder2> __cdecl qv::profiler::pdb_server::"
            "`anonymous-namespace'::create_symbol_binder(const struct qv::profiler::pdb_server::com_services &)",
            source, __LINE__);
    return binder;
}

// Empty on a machine that has no host library, or one that lists no runtimes.
com_hld<com::ICLRMetaHost> get_meta_host(const com_services& services) {
    com_hld<com::ICLRMetaHost> host;
    if (!services.clr_create_instance) return host;
    const HRESULT result =
        services.clr_create_instance(com::clsid_clr_meta_host, com::iid_of<com::ICLRMetaHost>, host.put_void());
    if (result == E_NOTIMPL) return {};
    if (FAILED(result))
        throw_hresult_error(
            "Can't get metahost", result,
            "class qv::com_hld<struct qv::com::ICLRMetaHost> __cdecl qv::profiler::pdb_server::"
            "`anonymous-namespace'::get_meta_host(const struct qv::profiler::pdb_server::com_services &)",
            source, __LINE__);
    return host;
}

com_hld<com::IMetaDataDispenser> get_dispenser(const com_hld<com::ICLRRuntimeInfo>& runtime) {
    static constexpr const char* function =
        "class qv::com_hld<struct qv::com::IMetaDataDispenser> __cdecl qv::profiler::pdb_server::"
        "`anonymous-namespace'::get_dispenser(const class qv::com_hld<struct qv::com::ICLRRuntimeInfo> &)";
    if (!runtime) throw_error("Runtime with metadata dispenser was not found", function, source, __LINE__);
    com_hld<com::IMetaDataDispenser> dispenser;
    const HRESULT result = runtime->GetInterface(com::clsid_metadata_dispenser, com::iid_of<com::IMetaDataDispenser>,
                                                 dispenser.put_void());
    if (FAILED(result)) throw_hresult_error("Can't get metadata dispemnser", result, function, source, __LINE__);
    return dispenser;
}

com_hld<com::IMetaDataDispenser> create_dispenser(const com_services& services) {
    com_hld<com::IMetaDataDispenser> dispenser;
    const HRESULT result = services.create_instance(com::clsid_metadata_dispenser, com::iid_of<com::IMetaDataDispenser>,
                                                    dispenser.put_void());
    if (FAILED(result))
        throw_hresult_error(
            "Can't create metadata dispenser", result,
            "class qv::com_hld<struct qv::com::IMetaDataDispenser> __cdecl qv::profiler::pdb_server::"
            "`anonymous-namespace'::create_dispenser(const struct qv::profiler::pdb_server::com_services &)",
            source, __LINE__);
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

}  // namespace qv::profiler::pdb_server
