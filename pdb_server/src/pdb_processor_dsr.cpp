#include "pdb_server/src/pdb_processor_dsr.h"

#include <utility>

#include "pdb_server/src/dsr/dsr_data.h"
#include "pdb_server/src/dsr/dsr_module_data.h"
#include "qv/com/metadata_import.h"
#include "qv/diagnostics/exception.h"
#include "qv/diagnostics/log.h"
#include "qv/diagnostics/log_keys.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";
constexpr const char* load_module_signature =
    "class std::shared_ptr<struct qv::profiler::pdb_server::module_data> __cdecl qv::profiler::pdb_server::"
    "dsr_load_module(const class std::shared_ptr<struct qv::profiler::pdb_server::dsr_data> &,const class "
    "boost::filesystem::path &,const struct _GUID &,const class std::vector<class boost::filesystem::path,class "
    "std::allocator<class boost::filesystem::path> > &,unsigned char,const class std::function<bool __cdecl(void)> &)";
constexpr DWORD open_for_reading = 0;

com_hld<IUnknown> open_metadata_scope(const dsr_data& data, const std::wstring& image) {
    com_hld<IUnknown> scope;
    const HRESULT result =
        data.dispenser->OpenScope(image.c_str(), open_for_reading, com::iid_of<com::IMetaDataImport>, scope.put());
    if (FAILED(result))
        throw_hresult_error(
            "Can't open metadata scope", result,
            "class qv::com_hld<struct IUnknown> __cdecl qv::profiler::pdb_server::`anonymous-namespace'::"
            "open_metadata_scope(const struct qv::profiler::pdb_server::dsr_data &,const class std::basic_string<"
            "wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &)",
            source, __LINE__, errtag_file_w{image});
    return scope;
}

// A reader that finds nothing along one piece of the search path is asked again with the next.
HRESULT find_reader(const dsr_data& data, IUnknown* importer, const std::wstring& image, search_path_pieces pieces,
                    std::uint8_t policy, const stop_check& stop, com_hld<com::ISymUnmanagedReader>& reader) {
    for (;;) {
        throw_if_stopping(stop, load_module_signature, source, __LINE__);
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
