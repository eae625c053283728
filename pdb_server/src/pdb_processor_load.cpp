// Module loading: from an image path and an MVID to registered symbol data.
#include <algorithm>

#include "base/exception.h"
#include "base/os_file.h"
#include "diagnostics/log.h"
#include "pdb_server/src/image_identity.h"
#include "pdb_server/src/pdb_processor.h"
#include "pdb_server/src/pdb_processor_dsr.h"
#include "pdb_server/src/pdb_processor_ppdb.h"
#include "pdb_server/src/symbol_candidates.h"
#include "text/path.h"
#include "text/symbol_path.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* tag = "PP::LoadModule";
constexpr throw_site load_module_site{
    "unsigned int __cdecl qv::profiler::pdb_server::pdb_processor::load_module(const class boost::filesystem::path "
    "&,const struct _GUID &)",
    "pdb_server/src/pdb_processor"};

template <class Body>
void log_load(Body&& body) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text(tag);
        body(out);
    });
}

void log_name(const GUID& mvid, const boost::filesystem::path& path) {
    log_load([&](log::TextStream& out) {
        out.key(log::key::mvid).guid(mvid).key(log::key::name).quoted(text::to_wide(path));
    });
}

void log_outcome(const char* outcome, const GUID& mvid) {
    log_load([&](log::TextStream& out) { out.key(log::key::result).text(outcome).key(log::key::mvid).guid(mvid); });
}

// True when the file is a managed image of this build; `image` then holds what leads to its symbols.
bool image_has_mvid(const boost::filesystem::path& path, const GUID& mvid, portable_executable::image_data& image) {
    if (!is_file(path)) return false;
    return read_image_mvid(path, image) == mvid;
}

bool names_pdb(const portable_executable::image_debug_entry& entry) {
    return entry.Type == portable_executable::debug_type_codeview;
}

bool names_portable_pdb(const portable_executable::image_debug_entry& entry) {
    return names_pdb(entry) && entry.MinorVersion == portable_executable::portable_pdb_minor_version;
}

}  // namespace

unsigned int pdb_processor::load_module(const boost::filesystem::path& path, const GUID& mvid) {
    log_name(mvid, path);
    std::shared_ptr<module_data> data = modules_.find_key(mvid);
    if (!data) {
        portable_executable::image_data image;
        boost::filesystem::path resolved = path;
        if (!path.is_absolute()) {
            if (!resolve_relative(path, mvid, resolved, image)) {
                log_outcome("not_found", mvid);
                return 0;
            }
        } else if (!services_.lets_look_at(path)) {
            throw_error("The module path is not allowed", errtag_file_w{text::to_wide(path)});
        } else if (!image_has_mvid(path, mvid, image)) {
            throw_error("Invalid MVID for the absolute module path is detected", load_module_site,
                        errtag_file_w{text::to_wide(path)});
        }
        if (!resolved.is_absolute())
            throw_error("The module path isn't absolute", load_module_site, errtag_file_w{text::to_wide(resolved)});
        log_name(mvid, resolved);
        data = load_symbols(resolved, mvid, image);
        if (!data) {
            log_outcome("no_pdb", mvid);
            return 0;
        }
    }
    const std::uint32_t id = ++module_id_counter_;
    modules_.insert_or_throw(id, data);
    log_load([&](log::TextStream& out) { out.key(log::key::module_id).Dec(id).key(log::key::mvid).guid(mvid); });
    return id;
}

bool pdb_processor::resolve_relative(const boost::filesystem::path& path, const GUID& mvid,
                                     boost::filesystem::path& resolved, portable_executable::image_data& image) const {
    for (const boost::filesystem::path& element : search_paths_) {
        throw_if_stopping(stop_, load_module_site);
        if (symbol_path::is_server_element(element.native())) continue;
        resolved = element / path;
        if (image_has_mvid(resolved, mvid, image)) return true;
    }
    return false;
}

// The choice of the backend is made once: an image that names a portable PDB is never tried with the other one.
std::shared_ptr<module_data> pdb_processor::load_symbols(const boost::filesystem::path& path, const GUID& mvid,
                                                         const portable_executable::image_data& image) const {
    const auto& entries = image.debug_entries;
    if (std::none_of(entries.begin(), entries.end(), names_portable_pdb)) {
        // An image that names no file has no symbols, also where nothing could read them.
        if (!dsr_is_available(dsr_) && std::none_of(entries.begin(), entries.end(), names_pdb)) return nullptr;
        return dsr_load_module(dsr_, path, mvid, search_paths_, policy_, stop_);
    }
    const symbol_candidates candidates{path, search_paths_, policy_, services_, stop_, observer_};
    const auto offer = [&](const std::wstring& recorded_path, const GUID& pdb_guid, const candidate_visitor& visit) {
        candidates.offer(recorded_path, pdb_guid, visit);
    };
    return try_load_module(mvid, image, offer, observer_);
}

}  // namespace qv::profiler::pdb_server
