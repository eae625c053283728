#include "tests/support/expected/stage.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <stdexcept>

#include "qv/text/path.h"
#include "qv/text/utf.h"

namespace qv::testing {
namespace {

namespace fs = boost::filesystem;

// Signature, GUID, age; then the path, terminated by NUL.
constexpr std::string_view record_signature = "RSDS";
constexpr std::size_t record_path_position = 24;
constexpr std::size_t longest_path = 1024;

bool ends_with_pdb(std::string_view path) {
    return path.size() >= 4 && (path.ends_with(".pdb") || path.ends_with(".PDB"));
}

// The PDB file beside the image; some collections append a letter to the extensions of both.
fs::path pdb_file_of(const fs::path& image) {
    for (const auto* extension : {".pdb", ".pdbx"}) {
        auto candidate = image;
        candidate.replace_extension(extension);
        if (fs::exists(candidate)) return candidate;
    }
    throw std::runtime_error("no PDB file beside " + text::to_utf8(text::to_wide(image)));
}

}  // namespace

fs::path stage(const expected_module& module, const temporary_directory& directory, const fs::path& folder) {
    const auto image = read_file(module.image);
    fs::path copy = fs::absolute(directory.write(folder / module.image.filename(), image));
    if (module.embedded || module.format.empty()) return copy;

    const auto names = recorded_pdb_names(image);
    if (names.empty()) throw std::runtime_error("no CodeView record in " + text::to_utf8(text::to_wide(module.image)));
    const auto pdb = read_file(pdb_file_of(module.image));
    for (const auto& name : names) directory.write(folder / text::to_path(text::to_utf16(name)), pdb);
    return copy;
}

std::vector<std::string> recorded_pdb_names(std::string_view image) {
    std::vector<std::string> names;
    for (auto at = image.find(record_signature); at != image.npos; at = image.find(record_signature, at + 1)) {
        if (image.size() - at <= record_path_position) break;
        const auto rest = image.substr(at + record_path_position, longest_path);
        const auto end = rest.find('\0');
        if (end == rest.npos || !ends_with_pdb(rest.substr(0, end))) continue;
        const auto path = rest.substr(0, end);
        const auto separator = path.find_last_of("/\\");
        std::string name(separator == path.npos ? path : path.substr(separator + 1));
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
    }
    return names;
}

}  // namespace qv::testing
