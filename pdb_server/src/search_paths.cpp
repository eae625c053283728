#include "pdb_server/src/search_paths.h"

#include <boost/algorithm/string/predicate.hpp>
#include <set>

#include "core/src/bridges/bridge_protocol.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_server {
namespace {

// What symbol stores put in place of the age of a portable PDB.
constexpr std::uint32_t portable_pdb_age = 0xFFFFFFFF;

// The image's extension without its point, for the directories named after it.
boost::filesystem::path extension_directory(const boost::filesystem::path& image) {
    const std::wstring extension = text::to_wide(image.extension());
    return text::to_path(extension.empty() ? extension : extension.substr(1));
}

// Passes each place on once, until the visitor is content.
class unique_visitor {
public:
    explicit unique_visitor(const candidate_visitor& visit) : visit_(visit) {}

    bool operator()(const boost::filesystem::path& place) {
        return seen_.insert(place.native()).second && visit_(place);
    }

private:
    const candidate_visitor& visit_;
    std::set<boost::filesystem::path::string_type> seen_;
};

bool offer_directory(const boost::filesystem::path& directory, const boost::filesystem::path& extension,
                     const boost::filesystem::path& file, const boost::filesystem::path& store_key,
                     unique_visitor& visit) {
    if (visit(directory / file) || visit(directory / "symbols" / file)) return true;
    if (!extension.empty() && (visit(directory / extension / file) || visit(directory / "symbols" / extension / file)))
        return true;
    return visit(directory / file / store_key / file);
}

}  // namespace

bool is_symbol_server_element(const boost::filesystem::path& element) {
    const std::wstring text = text::to_wide(element);
    using boost::algorithm::istarts_with;
    return istarts_with(text, L"srv*") || istarts_with(text, L"symsrv*") || istarts_with(text, L"cache*");
}

std::vector<std::wstring> split_search_path(const std::wstring& value) {
    std::vector<std::wstring> elements;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = value.find(L';', begin);
        elements.push_back(value.substr(begin, end == std::wstring::npos ? end : end - begin));
        if (end == std::wstring::npos) return elements;
        begin = end + 1;
    }
}

std::wstring recorded_file_name(const std::wstring& recorded_path) {
    const std::size_t separator = recorded_path.find_last_of(L"/\\");
    return separator == std::wstring::npos ? recorded_path : recorded_path.substr(separator + 1);
}

void symbol_candidates::offer(const std::wstring& recorded_path, const GUID& pdb_guid,
                              const candidate_visitor& visit_place) const {
    const std::wstring name = recorded_file_name(recorded_path);
    if (name.empty()) return;
    unique_visitor visit(visit_place);

    const boost::filesystem::path recorded = text::to_path(recorded_path);
    const boost::filesystem::path file = text::to_path(name);
    const boost::filesystem::path beside = image.parent_path();
    if (recorded.is_absolute() && visit(recorded)) return;
    if (visit(beside / file) || visit(beside / "symbols" / file)) return;

    const boost::filesystem::path extension = extension_directory(image);
    const boost::filesystem::path store_key = text::to_path(quorvex::common::to_store_key(pdb_guid) + L"FFFFFFFF");
    for (const boost::filesystem::path& element : elements) {
        if (!is_symbol_server_element(element)) {
            if (offer_directory(element, extension, file, store_key, visit)) return;
        } else if ((policy & policy_symbol_server) != 0) {
            const auto found = services.find_symbol_file(text::to_wide(element), name, pdb_guid, portable_pdb_age);
            if (!found.empty() && visit(found)) return;
        }
    }
}

}  // namespace qv::profiler::pdb_server
