#include "symbol_services/classic_reader/pdb.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <variant>

#include "qv/text/utf.h"
#include "symbol_services/classic_reader/mapped_file.h"
#include "symbol_services/classic_reader/pdb_errors.h"
#include "symbol_services/classic_reader/pdb_info.h"
#include "symbol_services/classic_reader/position_index.h"
#include "symbol_services/classic_reader/procedure_index.h"
#include "symbol_services/classic_reader/string_table.h"

namespace qv::classic_reader {
namespace {

constexpr const char* source_name = "symbol_services/classic_reader/pdb";
constexpr std::uint32_t info_stream = 1;
constexpr std::uint32_t dbi_stream = 3;

// The bytes of a file, however they came.
class file_bytes {
public:
    explicit file_bytes(const boost::filesystem::path& path) : owner_(std::in_place_type<mapped_file>, path) {}
    explicit file_bytes(std::vector<unsigned char> bytes) : owner_(std::move(bytes)) {}

    std::span<const unsigned char> view() const {
        if (const auto* mapped = std::get_if<mapped_file>(&owner_)) return mapped->bytes();
        return std::get<std::vector<unsigned char>>(owner_);
    }

private:
    std::variant<std::vector<unsigned char>, mapped_file> owner_;
};

}  // namespace

class pdb::implementation {
public:
    template <class Source>
    explicit implementation(Source&& source) : bytes_(std::forward<Source>(source)), file_(bytes_.view()) {
        const auto info_bytes = file_.stream(info_stream).bytes();
        byte_cursor cursor(info_bytes);
        const auto info = read_pdb_info(cursor);
        names_ = read_named_streams(cursor);
        id_ = {info.guid, info.age, info.signature};
        // Without a DBI stream there is only one age, and no method.
        if (file_.has_stream(dbi_stream) && file_.stream(dbi_stream).size() != 0) {
            dbi_ = read_dbi(file_.stream(dbi_stream));
            id_.age = dbi_.age;
        }
        lines_ = std::vector<lazy<line_sections>>(dbi_.modules.size());
    }

    const pdb_id& id() const noexcept { return id_; }
    const named_streams& names() const noexcept { return names_; }
    const msf_file& file() const noexcept { return file_; }
    const procedure_index& procedures() const noexcept { return procedures_; }

    const document_table& documents() const {
        return documents_.get([this] { return make_document_table(); });
    }

    const position_index& positions() const {
        return positions_.get([this] { return make_position_index(); });
    }

    std::vector<sequence_point> points(std::uint32_t token) const;
    document read_document(std::uint32_t index) const;
    std::vector<unsigned char> named_bytes(std::string_view name) const;

private:
    const string_table& strings() const {
        return strings_.get([this] { return string_table(file_.stream(names_.find("/names").value_or(absent))); });
    }

    const line_sections& lines(std::uint32_t module) const {
        return lines_[module].get([this, module] { return make_line_sections(dbi_.modules[module]); });
    }

    line_sections make_line_sections(const module_info& module) const;
    document_table make_document_table() const;
    void add_files_of_modules(document_table& table) const;
    position_index make_position_index() const;
    std::optional<file_entry> find_file_entry(const listed_document& listed) const;

    static constexpr std::uint32_t absent = 0xFFFFFFFF;

    file_bytes bytes_;
    msf_file file_;
    pdb_id id_ = {};
    named_streams names_;
    dbi_info dbi_ = {};
    procedure_index procedures_{file_, dbi_};
    lazy<string_table> strings_;
    lazy<document_table> documents_;
    lazy<position_index> positions_;
    std::vector<lazy<line_sections>> lines_;  // by module
};

line_sections pdb::implementation::make_line_sections(const module_info& module) const {
    constexpr const char* function =
        "class qv::classic_reader::line_sections __cdecl qv::classic_reader::pdb::implementation::make_line_sections("
        "const struct qv::classic_reader::module_info &) const";
    if (!module.stream) throw_corrupt("PDB stream not found", function, source_name, __LINE__);
    if (module.c11_size != 0 && module.c13_size == 0)
        throw_hresult_error("Unsupported line information", e_pdb_not_implemented, function, source_name, __LINE__);
    return {file_.stream(*module.stream), std::uint64_t{module.symbol_size} + module.c11_size, module.c13_size};
}

// The list in the DBI stream saves opening every module; without it the modules' own tables serve.
document_table pdb::implementation::make_document_table() const {
    document_table table(names_);
    try {
        if (dbi_.source_list_size == 0) {
            add_files_of_modules(table);
        } else {
            const auto list = file_.stream(dbi_stream).bytes(dbi_.source_list_offset, dbi_.source_list_size);
            for (const auto& file : read_source_list(list)) table.add(file.name, file.module);
        }
    } catch (const hresult_exception&) {
        add_files_of_modules(table);
    }
    table.add_unlisted();
    return table;
}

void pdb::implementation::add_files_of_modules(document_table& table) const {
    for (std::uint32_t i = 0; i < dbi_.modules.size(); ++i) {
        if (!dbi_.modules[i].stream || dbi_.modules[i].c13_size == 0) continue;
        try {
            const auto& module = lines(i);
            for (const auto offset : module.files()) table.add(strings().text(module.file(offset).name), i);
        } catch (const hresult_exception&) {
            continue;  // the files of the other modules are all there
        }
    }
}

position_index pdb::implementation::make_position_index() const {
    position_index index;
    std::set<std::pair<std::uint32_t, code_address>> seen;  // lines have one owner
    for (const auto token : procedures_.tokens()) {
        try {
            const auto procedure = procedures_.find(token);
            if (!procedure || !seen.emplace(procedure->module, procedure->address).second) continue;
            index.add(token, points(token));
        } catch (const hresult_exception&) {
            continue;  // a method that cannot be read has no position
        }
    }
    index.finish();
    return index;
}

std::vector<sequence_point> pdb::implementation::points(std::uint32_t token) const {
    std::vector<sequence_point> result;
    const auto procedure = procedures_.find(token);
    if (!procedure ||
        dbi_.modules[procedure->module].c11_size + std::uint64_t{dbi_.modules[procedure->module].c13_size} == 0)
        return result;
    const auto& module = lines(procedure->module);
    const auto document_of = [&](std::uint32_t file) {
        const auto document = documents().find(strings().text(module.file(file).name));
        if (!document)
            throw_corrupt("Unknown source file",
                          "class std::vector<struct qv::classic_reader::sequence_point,class std::allocator<struct "
                          "qv::classic_reader::sequence_point> > __cdecl "
                          "qv::classic_reader::pdb::implementation::points(unsigned int) const",
                          source_name, __LINE__);
        return *document;
    };
    module.read_points(procedure->address, document_of, result);
    const auto by_offset = [](const sequence_point& left, const sequence_point& right) {
        return left.il_offset < right.il_offset;
    };
    if (!std::is_sorted(result.begin(), result.end(), by_offset))
        std::stable_sort(result.begin(), result.end(), by_offset);
    return result;
}

// The entry of the document in the file table of the first module that lists it.
std::optional<file_entry> pdb::implementation::find_file_entry(const listed_document& listed) const {
    if (!listed.module || *listed.module >= dbi_.modules.size()) return std::nullopt;
    const auto& module = lines(*listed.module);
    for (const auto offset : module.files())
        if (auto entry = module.file(offset); strings().text(entry.name) == listed.name) return entry;
    return std::nullopt;
}

document pdb::implementation::read_document(std::uint32_t index) const {
    const auto& listed = documents()[index];
    document document = {};
    if (listed.stream) read_document_record(file_.stream(*listed.stream), document);
    if (!document.checksum.empty()) return document;
    if (auto entry = find_file_entry(listed); entry && !entry->checksum.empty()) {
        document.checksum_algorithm = checksum_algorithm(entry->checksum_kind);
        document.checksum = std::move(entry->checksum);
    }
    return document;
}

std::vector<unsigned char> pdb::implementation::named_bytes(std::string_view name) const {
    const auto stream = names_.find(name);
    return stream ? file_.stream(*stream).bytes() : std::vector<unsigned char>();
}

pdb::pdb(std::unique_ptr<const implementation> content) : content_(std::move(content)) {}

pdb::~pdb() = default;

std::shared_ptr<const pdb> pdb::open(const boost::filesystem::path& path) {
    return std::shared_ptr<const pdb>(new pdb(std::make_unique<const implementation>(path)));
}

std::shared_ptr<const pdb> pdb::open(std::vector<unsigned char> bytes) {
    return std::shared_ptr<const pdb>(new pdb(std::make_unique<const implementation>(std::move(bytes))));
}

const pdb_id& pdb::id() const noexcept {
    return content_->id();
}

std::vector<std::uint32_t> pdb::methods() const {
    return content_->procedures().tokens();
}

bool pdb::has_method(std::uint32_t token) const {
    return content_->procedures().find(token).has_value();
}

std::vector<sequence_point> pdb::points(std::uint32_t token) const {
    return content_->points(token);
}

std::uint32_t pdb::document_count() const {
    return content_->documents().size();
}

std::wstring pdb::document_url(std::uint32_t index) const {
    try {
        return text::to_utf16(content_->documents()[index].name);
    } catch (const std::runtime_error&) {
        throw_corrupt(
            "Invalid document name",
            "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > "
            "__cdecl qv::classic_reader::pdb::document_url(unsigned int) const",
            source_name, __LINE__);
    }
}

document pdb::get_document(std::uint32_t index) const {
    auto document = content_->read_document(index);
    document.url = document_url(index);
    return document;
}

std::vector<unsigned char> pdb::embedded_source(std::uint32_t index) const {
    const auto stream = content_->documents()[index].stream;
    return stream ? read_embedded_source(content_->file().stream(*stream)) : std::vector<unsigned char>();
}

std::optional<std::uint32_t> pdb::find_document(const std::wstring& url) const {
    try {
        const auto name = text::to_utf8(url);
        const auto exact = content_->documents().find(name);
        return exact ? exact : content_->documents().find_folded(name);
    } catch (const std::runtime_error&) {
        return std::nullopt;  // no file name is malformed text
    }
}

std::vector<std::uint32_t> pdb::methods_at(std::uint32_t document, std::uint32_t line) const {
    return content_->positions().methods_at(document, line);
}

std::optional<std::uint32_t> pdb::closest_line(std::uint32_t document, std::uint32_t line) const {
    return content_->positions().closest_line(document, line);
}

std::vector<unsigned char> pdb::source_server_data() const {
    return content_->named_bytes("srcsrv");
}

std::vector<std::vector<unsigned char>> pdb::source_links() const {
    std::vector<std::vector<unsigned char>> links;
    const std::string name = "sourcelink";
    if (content_->names().find(name)) links.push_back(content_->named_bytes(name));
    for (unsigned number = 1;; ++number) {
        const auto numbered = name + "$" + std::to_string(number);
        if (!content_->names().find(numbered)) return links;
        links.push_back(content_->named_bytes(numbered));
    }
}

}  // namespace qv::classic_reader
