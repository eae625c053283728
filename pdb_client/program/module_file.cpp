#include "pdb_client/program/module_file.h"

#include <boost/filesystem/operations.hpp>
#include <utility>

#include "qv/metadata/module_identity.h"
#include "qv/portable_executable/codeview.h"
#include "qv/portable_executable/readers.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

namespace pe = portable_executable;

symbol_kind kind_of(const pe::image_debug_entry& entry) {
    if (entry.Type == pe::debug_type_embedded_portable_pdb) return symbol_kind::embedded;
    if (entry.Type != pe::debug_type_codeview || !pe::read_codeview(entry.data)) return symbol_kind::none;
    return entry.MinorVersion == pe::portable_pdb_minor_version ? symbol_kind::portable : symbol_kind::classic;
}

void describe_named_pdb(const pe::image_debug_entry& entry, module_info& module) {
    auto record = pe::read_codeview(entry.data).value();
    module.pdb = {record.guid, module.symbols == symbol_kind::portable ? entry.TimeDateStamp : record.age};
    module.recorded_pdb = std::move(record.path);
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
    module_info module{text::to_wide(absolute), {}, 0, symbol_kind::none, {}, {}, {}};
    pe::image_data image = pe::read_image_file(absolute);
    const metadata::module_identity identity = metadata::read_module_identity(image.metadata);
    module.mvid = identity.mvid;
    module.method_rows = identity.method_rows;
    describe_symbols(image.debug_entries, module);
    module.names = method_names(std::move(image.metadata));
    return module;
}

}  // namespace qv::profiler::pdb_client
