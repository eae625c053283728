#include "symbol_services/classic_reader/locate.h"

#include <algorithm>
#include <stdexcept>

#include "qv/portable_executable/codeview.h"
#include "symbol_services/classic_reader/pdb_errors.h"
#include "text/path.h"
#include "text/symbol_path.h"
#include "text/utf.h"

namespace qv::classic_reader {
namespace {

namespace fs = boost::filesystem;

// "\\.\" and "\\?\" lead past the file system, and a record may name anything.
bool is_device_path(const std::wstring& path) {
    const auto slash = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    return path.size() >= 3 && slash(path[0]) && slash(path[1]) && (path[2] == L'.' || path[2] == L'?');
}

// One record's way through the places, up to the first file that belongs to the image.
class record_search {
public:
    record_search(const pdb_search& search, const codeview_record& record, std::optional<hresult_exception>& refusal)
        : search_(search), record_(record), name_(record.file_name()), refusal_(refusal) {}

    std::optional<located_pdb> run() {
        if (name_.empty() || record_.path.size() > text::longest_path) return std::nullopt;
        if (!(try_original_path() || try_reference_path() || try_search_path())) return std::nullopt;
        return std::move(found_);
    }

private:
    bool try_original_path() {
        if (is_device_path(record_.path)) return false;
        if (!allows(policy_original_path, record_.path)) return false;
        const auto path = to_path(record_.path);
        return path && path->is_absolute() && try_file(*path);
    }

    bool try_reference_path() {
        const auto directory = search_.image.parent_path();
        if (!allows(policy_reference_path, text::to_wide(directory))) return false;
        if (const auto name = to_path(name_); name && try_file(directory / *name)) return true;
        auto own_name = search_.image.filename();
        own_name.replace_extension(".pdb");
        return text::to_wide(own_name) != name_ && try_file(directory / own_name);
    }

    bool try_search_path() {
        const auto elements = symbol_path::split(search_.search_path, L';', symbol_path::empty_parts::left_out);
        symbol_path::element_walk servers;
        return std::any_of(elements.begin(), elements.end(), [&](std::wstring_view element) {
            if (symbol_path::is_server_element(element))
                return try_symbol_server(std::wstring(element), servers.next(element));
            const auto directory = to_path(std::wstring(element));
            const auto name = to_path(name_);
            return directory && name && try_file(*directory / *name);
        });
    }

    // Nothing is asked for an element of another library.
    bool try_symbol_server(const std::wstring& element, const std::optional<std::wstring>& parameters) {
        if (!allows(policy_symbol_server, element)) return false;
        if (!parameters) tell(search_.observer, search_step::other_library, element);
        if (!search_.server || !parameters) return false;
        tell(search_.observer, search_step::asked, *parameters);
        const auto path = search_.server(*parameters, record_);
        if (!path) tell(search_.observer, search_step::not_there, *parameters);
        return path && try_file(*path);
    }

    // The place is what is left out otherwise.
    bool allows(search_policy bit, const std::wstring& place) const {
        if ((search_.policy & bit) != 0) return true;
        tell(search_.observer, search_step::forbidden, place);
        return false;
    }

    bool try_file(const fs::path& path) {
        found_ = {};
        try {
            found_ = {path, pdb::open(path)};
            check_identity(found_.file->id());
            tell_of(path, search_step::taken);
            return true;
        } catch (const hresult_exception& error) {
            const auto* code = error.find<errtag_hresult>();
            tell_of(path, step_of(code));
            if (!refusal_ && code != nullptr && *code != e_pdb_not_found) refusal_.emplace(error);
            return false;
        }
    }

    static search_step step_of(const std::int32_t* code) {
        switch (code == nullptr ? e_pdb_corrupt : *code) {
            case e_pdb_not_found: return search_step::missing;
            case e_pdb_invalid_sig: return search_step::other_build;
            case e_pdb_invalid_age: return search_step::other_age;
            case e_pdb_format:
            case e_pdb_v1_pdb:
            case e_pdb_not_implemented: return search_step::no_symbols;
            default: return search_step::failed;
        }
    }

    void tell_of(const fs::path& path, search_step step) const {
        if (!search_.observer) return;
        std::optional<symbol_file_id> id;
        if (found_.file) id = symbol_file_id{found_.file->id().guid, found_.file->id().age};
        tell(search_.observer, step, text::to_wide(path), id);
    }

    void check_identity(const pdb_id& id) const {
        if (id.guid != record_.guid) throw_hresult_error("PDB file of another build", e_pdb_invalid_sig);
        if (id.age != record_.age) throw_hresult_error("PDB file of another age", e_pdb_invalid_age);
    }

    // None for text that can be no path.
    static std::optional<fs::path> to_path(const std::wstring& text) {
        try {
            return text::to_path(text);
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }

    const pdb_search& search_;
    const codeview_record& record_;
    std::wstring name_;
    std::optional<hresult_exception>& refusal_;
    located_pdb found_;
};

}  // namespace

std::wstring codeview_record::file_name() const {
    return std::wstring(text::file_name(path));
}

std::optional<codeview_record> parse_codeview(std::span<const unsigned char> data) {
    const auto record = portable_executable::read_codeview(data);
    if (!record) return std::nullopt;
    try {
        return codeview_record{record->guid, record->age, text::to_utf16(record->path)};
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

located_pdb locate_pdb(const pdb_search& search) {
    if (search.records.empty()) throw_hresult_error("Image has no debug record", e_pdb_no_debug_info);
    std::optional<hresult_exception> refusal;
    for (const auto& record : std::span(search.records).first(std::min(search.records.size(), most_codeview_records)))
        if (auto found = record_search(search, record, refusal).run()) return std::move(*found);
    if (refusal) throw hresult_exception(*refusal);
    throw_hresult_error("PDB file not found", e_pdb_not_found);
}

}  // namespace qv::classic_reader
