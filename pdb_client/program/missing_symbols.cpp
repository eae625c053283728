#include "pdb_client/program/missing_symbols.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <optional>

#include "diagnostics/error_text.h"
#include "pdb_client/program/display_text.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

using boost::filesystem::path;

struct pdb_file {
    path place;
    std::optional<pdb_identity> identity;
    std::string error;  // why there is no identity
};

// The file name that the image asks for; empty when it names none. Both kinds of slash separate: the module may have
// been built on another system.
path wanted_name(const module_info& module) {
    const std::string& recorded = module.recorded_pdb;
    return is_utf8(recorded) ? text::to_path(text::to_utf16(std::string(text::file_name(recorded)))) : path();
}

std::vector<path> places_of(const module_info& module, const std::vector<std::wstring>& search_paths) {
    const path name = wanted_name(module);
    if (name.empty()) return {};
    std::vector<path> places;
    const auto add = [&places](const path& place) {
        if (std::find(places.begin(), places.end(), place) == places.end()) places.push_back(place);
    };
    const path recorded = text::to_path(text::to_utf16(module.recorded_pdb));
    if (recorded.is_absolute()) add(recorded);
    const path image = text::to_path(module.path);
    add(image.parent_path() / name);
    // Module and PDB are at times renamed together, and then not found.
    const path renamed = path(image).replace_extension(".pdb");
    if (!boost::algorithm::iequals(renamed.filename().native(), name.native())) add(renamed);
    for (const std::wstring& element : search_paths) add(text::to_path(element) / name);
    return places;
}

std::vector<pdb_file> find_files(const module_info& module, const std::vector<std::wstring>& search_paths) {
    std::vector<pdb_file> files;
    for (const path& place : places_of(module, search_paths)) {
        boost::system::error_code ignored;
        if (!boost::filesystem::is_regular_file(text::to_system_path(place), ignored)) continue;
        pdb_file& file = files.emplace_back(pdb_file{place, {}, {}});
        try {
            file.identity = read_pdb_identity(place, module.symbols);
        } catch (const std::exception& error) {
            file.error = one_line_text(error);
        }
    }
    return files;
}

std::string file_text(const pdb_file& file, symbol_kind kind) {
    const std::string place = printable(text::to_wide(file.place));
    if (file.identity) return identity_text(*file.identity, kind) + "  " + place;
    return place + ", unreadable: " + printable(std::string_view(file.error));
}

constexpr const char* put_it_there =
    "Put the PDB of this build beside the module, or name its directory with --search_path.\n"
    "pdb_client explain tells every place where the server looks, and what it finds there.\n";

// What the files say, and what can be done about it.
struct finding {
    const char* reason;
    const char* advice;
};

finding judge(const module_info& module, const std::vector<pdb_file>& files) {
    const auto any = [&](auto test) { return std::any_of(files.begin(), files.end(), test); };
    const auto is_wanted = [&](const pdb_file& file) { return file.identity == module.pdb; };
    if (any([&](const pdb_file& file) { return is_wanted(file) && file.place.filename() == wanted_name(module); }))
        return {" was not accepted by the server",
                "The server may not be allowed to read it, or --policy leaves its place out.\n"};
    if (any(is_wanted)) return {" has another name", "Give it the name that the image asks for.\n"};
    if (any([](const pdb_file& file) { return file.identity.has_value(); }))
        return {" is of another build", put_it_there};
    if (!files.empty()) return {" cannot be read", put_it_there};
    return {" was not found", put_it_there};
}

std::string named_file_text(const module_info& module, const std::vector<std::wstring>& search_paths) {
    const std::vector<pdb_file> files = find_files(module, search_paths);
    const finding found = judge(module, files);
    std::string text = module.symbols == symbol_kind::portable ? "its portable PDB" : "its classic PDB";
    text.append(found.reason).append("\n");
    text += "    wanted  " + identity_text(module.pdb, module.symbols) + "  " +
            printable(std::string_view(module.recorded_pdb)) + "\n";
    for (const pdb_file& file : files) text += "    found   " + file_text(file, module.symbols) + "\n";
    return text + found.advice;
}

}  // namespace

std::string missing_symbols_text(const module_info& module, const std::vector<std::wstring>& search_paths) {
    switch (module.symbols) {
        case symbol_kind::none: return "the image names no symbols: it was built without a PDB\n";
        case symbol_kind::embedded: return "the portable PDB in the image was not accepted\n";
        case symbol_kind::portable:
        case symbol_kind::classic: break;
    }
    return named_file_text(module, search_paths);
}

}  // namespace qv::profiler::pdb_client
