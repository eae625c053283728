#include "pdb_client/program/module_file.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cstring>
#include <string_view>

#include "qv/metadata/module_identity.h"
#include "qv/portable_executable/readers.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_client {
namespace {

namespace pe = portable_executable;

// A CodeView record is the signature "RSDS", the GUID, the age, and the path up to a NUL.
constexpr std::string_view codeview_signature = "RSDS";
constexpr std::size_t codeview_guid = 4;
constexpr std::size_t codeview_age = 20;
constexpr std::size_t codeview_path = 24;

bool is_codeview(const pe::image_debug_entry& entry) {
    return entry.Type == pe::debug_type_codeview && entry.data.size() >= codeview_path &&
           std::equal(codeview_signature.begin(), codeview_signature.end(), entry.data.begin());
}

symbol_kind kind_of(const pe::image_debug_entry& entry) {
    if (entry.Type == pe::debug_type_embedded_portable_pdb) return symbol_kind::embedded;
    if (!is_codeview(entry)) return symbol_kind::none;
    return entry.MinorVersion == pe::portable_pdb_minor_version ? symbol_kind::portable : symbol_kind::classic;
}

void describe_named_pdb(const pe::image_debug_entry& entry, module_info& module) {
    std::memcpy(&module.pdb.guid, entry.data.data() + codeview_guid, sizeof module.pdb.guid);
    if (module.symbols == symbol_kind::portable)
        module.pdb.number = entry.TimeDateStamp;
    else
        std::memcpy(&module.pdb.number, entry.data.data() + codeview_age, sizeof module.pdb.number);
    const auto path = entry.data.begin() + static_cast<std::ptrdiff_t>(codeview_path);
    module.recorded_pdb.assign(path, std::find(path, entry.data.end(), 0));
}

// An embedded PDB is preferred to a named one, and a portable one to a classic one, as the server does.
void describe_symbols(const std::vector<pe::image_debug_entry>& entries, module_info& module) {
    const pe::image_debug_entry* best = nullptr;
    for (const pe::image_debug_entry& entry : entries) {
        const symbol_kind kind = kind_of(entry);
        if (kind == symbol_kind::none || (best != nullptr && module.symbols <= kind)) continue;
        module.symbols = kind;
        best = &entry;
    }
    if (best != nullptr && module.symbols != symbol_kind::embedded) describe_named_pdb(*best, module);
}

}  // namespace

module_info read_module_file(const boost::filesystem::path& path) {
    const boost::filesystem::path absolute = boost::filesystem::system_complete(path);
    module_info module{text::to_wide(absolute), {}, 0, symbol_kind::none, {}, {}};
    const pe::image_data image = pe::read_image_file(absolute);
    const metadata::module_identity identity = metadata::read_module_identity(image.metadata);
    module.mvid = identity.mvid;
    module.method_rows = identity.method_rows;
    describe_symbols(image.debug_entries, module);
    return module;
}

}  // namespace qv::profiler::pdb_client
