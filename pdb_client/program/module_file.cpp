#include "pdb_client/program/module_file.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <string_view>

#include "qv/metadata/module_identity.h"
#include "qv/portable_executable/image_file.h"
#include "qv/text/path.h"
#include "qv/text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

namespace pe = portable_executable;

// A CodeView record is the signature "RSDS", the GUID, the age, and the path up to a NUL.
constexpr std::string_view codeview_signature = "RSDS";
constexpr std::size_t codeview_path = 24;

bool is_codeview(const pe::image_debug_entry& entry) {
    return entry.Type == pe::debug_type_codeview && entry.data.size() >= codeview_path &&
           std::equal(codeview_signature.begin(), codeview_signature.end(), entry.data.begin());
}

std::string recorded_path(const pe::image_debug_entry& entry) {
    const auto begin = entry.data.begin() + static_cast<std::ptrdiff_t>(codeview_path);
    return std::string(begin, std::find(begin, entry.data.end(), 0));
}

// An embedded PDB is preferred to a named one, and a portable one to a classic one, as the server does.
void describe_symbols(const std::vector<pe::image_debug_entry>& entries, module_info& module) {
    for (const pe::image_debug_entry& entry : entries) {
        symbol_kind kind = symbol_kind::none;
        if (entry.Type == pe::debug_type_embedded_portable_pdb)
            kind = symbol_kind::embedded;
        else if (is_codeview(entry))
            kind = entry.MinorVersion == pe::portable_pdb_minor_version ? symbol_kind::portable : symbol_kind::classic;
        if (kind == symbol_kind::none || (module.symbols != symbol_kind::none && module.symbols <= kind)) continue;
        module.symbols = kind;
        module.recorded_pdb = kind == symbol_kind::embedded ? std::string() : recorded_path(entry);
    }
}

}  // namespace

module_info read_module_file(const boost::filesystem::path& path) {
    const boost::filesystem::path absolute = boost::filesystem::system_complete(path);
    module_info module{text::to_wide(absolute), {}, 0, symbol_kind::none, {}};
    text::to_utf8(module.path);  // throws for what could not be sent
    const pe::image_data image = pe::read_image_file(absolute);
    const metadata::module_identity identity = metadata::read_module_identity(image.metadata);
    module.mvid = identity.mvid;
    module.method_rows = identity.method_rows;
    describe_symbols(image.debug_entries, module);
    return module;
}

}  // namespace qv::profiler::pdb_client
