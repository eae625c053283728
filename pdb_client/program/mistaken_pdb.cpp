#include "pdb_client/program/mistaken_pdb.h"

#include <boost/filesystem/operations.hpp>
#include <optional>

#include "pdb_client/program/display_text.h"
#include "pdb_client/program/module_file.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using boost::filesystem::path;

std::optional<pdb_identity> try_to_read(const path& file, symbol_kind kind) {
    try {
        return read_pdb_identity(file, kind);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<module_info> try_to_read_module(const path& file) {
    try {
        return read_module_file(file);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::string image_text(const path& file, const pdb_identity& identity) {
    std::string others;
    for (const char* extension : {".dll", ".exe", ".netmodule", ".winmd"}) {
        const path image = path(file).replace_extension(extension);
        const auto module = try_to_read_module(image);
        if (!module) continue;
        const std::string name = printable(text::to_wide(image));
        if (module->pdb == identity) return "Name its image instead: " + name + "\n";
        others += "The image beside it is of another build: " + name + "\n";
    }
    return others + "Name the image that it was built with instead, a .dll or .exe file.\n";
}

}  // namespace

std::string mistaken_pdb_text(const path& file) {
    for (const symbol_kind kind : {symbol_kind::portable, symbol_kind::classic})
        if (const auto identity = try_to_read(file, kind))
            return std::string("this is a ") + (kind == symbol_kind::portable ? "portable" : "classic") +
                   " PDB, not an image: " + identity_text(*identity, kind) + "\n" + image_text(file, *identity);
    return {};
}

}  // namespace qv::profiler::pdb_client
