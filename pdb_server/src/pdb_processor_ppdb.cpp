#include "pdb_server/src/pdb_processor_ppdb.h"

#include <cstring>
#include <optional>
#include <utility>

#include "base/exception.h"
#include "base/os_file.h"
#include "base/work_counter.h"
#include "common/symbol_search.h"
#include "core/stream/FileNativeStream.h"
#include "pdb_server/src/ppdb/ppdb_module_data.h"
#include "qv/portable_executable/codeview.h"
#include "qv/portable_executable/metadata_pdb_unpacker.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

using portable_executable::image_debug_entry;

// What an entry says about the portable PDB of its image.
struct named_pdb {
    GUID guid;
    std::uint32_t age;
    std::uint32_t stamp;  // of the debug directory entry; the last part of the PDB's id
    std::wstring path;    // as the compiler wrote it
};

// None for an entry that names no portable PDB. Throws on a path that is not UTF-8.
std::optional<named_pdb> read_named_pdb(const image_debug_entry& entry) {
    if (entry.Type != portable_executable::debug_type_codeview ||
        entry.MinorVersion != portable_executable::portable_pdb_minor_version)
        return {};
    const auto record = portable_executable::read_codeview(entry.data);
    if (!record) return {};
    return named_pdb{record->guid, record->age, entry.TimeDateStamp, text::to_utf16(record->path)};
}

struct file_content {
    std::shared_ptr<const unsigned char> bytes;
    std::uint64_t size;
};

// The bytes of a file that can be metadata; none for any other file. The file is closed before this returns. It is read
// by one call into fresh memory and not mapped: builds replace it while the server runs, and the pages of a mapping
// whose share goes away would end the process.
std::optional<file_content> read_metadata_file(const boost::filesystem::path& path) {
    if (!is_file(path)) return {};
    FileNativeStream file;
    file.Open(path);
    const std::uint64_t size = file.GetSize();
    if (size < 5 || size > 0xFFFFFFFF) return {};
    std::uint32_t signature = 0;
    file.Read(&signature, sizeof signature);
    if (signature != portable_executable::metadata_signature) return {};
    file.Seek(SeekOrigin::Begin, 0);
    const std::shared_ptr<unsigned char[]> bytes(new unsigned char[static_cast<std::size_t>(size)]);
    count_work(size);
    file.Read(bytes.get(), size);
    return file_content{{bytes, bytes.get()}, size};
}

std::shared_ptr<module_data> make_module_data(const GUID& mvid, std::unique_ptr<const metadata_container> container) {
    return std::make_shared<ppdb_module_data>(mvid, std::move(container));
}

symbol_file_id id_of(const metadata_container& container) {
    symbol_file_id id{};
    std::memcpy(&id, container.parser().pdb()->id.data(), sizeof id);
    return id;
}

// The candidate's symbols when it is a portable PDB of this build.
std::shared_ptr<module_data> try_load(const GUID& mvid, const named_pdb& record,
                                      const boost::filesystem::path& candidate, const search_observer& observer) {
    const std::wstring place = observer ? text::to_wide(candidate) : std::wstring();
    const auto content = read_metadata_file(candidate);
    if (!content) {
        if (observer) tell(observer, is_file(candidate) ? search_step::no_symbols : search_step::missing, place);
        return {};
    }
    auto container = std::make_unique<const metadata_container>(content->bytes, content->size);
    const bool belongs = container->has_id(record.guid, record.stamp);
    tell(observer, belongs ? search_step::taken : search_step::other_build, place, id_of(*container));
    return belongs ? make_module_data(mvid, std::move(container)) : nullptr;
}

}  // namespace

std::shared_ptr<module_data> try_load_module(const GUID& mvid, const portable_executable::image_data& image,
                                             const candidate_source& candidates, const search_observer& observer) {
    static constexpr throw_site here{
        "class std::shared_ptr<struct qv::profiler::pdb_server::module_data> __cdecl "
        "qv::profiler::pdb_server::try_load_module(const struct _GUID &,const struct "
        "qv::portable_executable::image_data &,const qv::profiler::pdb_server::candidate_source &)",
        "pdb_server/src/pdb_processor_ppdb"};
    for (const auto& entry : image.debug_entries) {
        if (entry.Type != portable_executable::debug_type_embedded_portable_pdb || entry.data.empty()) continue;
        tell(observer, search_step::embedded, {});
        auto bytes = portable_executable::unpack_metadata_pdb(entry.data.data(), entry.data.size());
        return make_module_data(mvid, std::make_unique<const metadata_container>(std::move(bytes)));
    }

    std::shared_ptr<module_data> found;
    std::size_t records = 0;
    for (const auto& entry : image.debug_entries) {
        const auto record = read_named_pdb(entry);
        // A portable PDB always has the age 1; no file can satisfy a record with another one.
        if (record && record->age != 1) tell(observer, search_step::other_age, record->path);
        if (!record || record->age != 1 || record->path.size() > text::longest_path) continue;
        if (++records > most_codeview_records) throw_error("Too many portable PDB records", here);
        candidates(record->path, record->guid, [&](const boost::filesystem::path& candidate) {
            found = try_load(mvid, *record, candidate, observer);
            return found != nullptr;
        });
        if (found) return found;
    }
    return {};
}

}  // namespace qv::profiler::pdb_server
