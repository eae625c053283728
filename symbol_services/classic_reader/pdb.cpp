#include "symbol_services/classic_reader/pdb.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <tuple>

#include "symbol_services/classic_reader/names.h"
#include "symbol_services/classic_reader/pdb_errors.h"
#include "symbol_services/classic_reader/position_index.h"
#include "symbol_services/classic_reader/procedure_index.h"
#include "symbol_services/classic_reader/source_link.h"
#include "text/utf.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t info_stream = 1;
constexpr std::uint32_t dbi_stream = 3;

// The documents of names that were met: reading a name costs its length, and many blocks of lines have one name.
class known_names {
public:
    // `find` tells the document of a name that was not met before.
    template <class Find>
    std::optional<std::uint32_t> get(std::uint32_t name, Find&& find) const {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (const auto known = documents_.find(name); known != documents_.end()) return known->second;
        }
        const auto document = find();
        const std::lock_guard<std::mutex> lock(mutex_);
        documents_.emplace(name, document);
        return document;
    }

private:
    mutable std::mutex mutex_;
    mutable std::map<std::uint32_t, std::optional<std::uint32_t>> documents_;  // by offset in the string table
};

}  // namespace

class pdb::implementation {
public:
    explicit implementation(std::unique_ptr<const byte_source> source) : file_(std::move(source)) {
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
        files_ = std::vector<lazy<file_list>>(dbi_.modules.size());
    }

    const pdb_id& id() const noexcept { return id_; }
    const msf_file& file() const noexcept { return file_; }
    const procedure_index& procedures() const noexcept { return procedures_; }

    const document_table& documents() const {
        return documents_.get([this] { return document_table(read_source_names(), names_); });
    }

    const position_index& positions() const {
        return positions_.get([this] { return make_position_index(); });
    }

    std::vector<sequence_point> points(std::uint32_t token) const;
    document read_document(std::uint32_t index) const;
    std::vector<unsigned char> source_server_data() const;

private:
    // The files of a module by document: the document and the place in the file table, in their order.
    using file_list = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

    const string_table& strings() const {
        return strings_.get([this] { return string_table(file_.stream(names_.find("/names").value_or(absent))); });
    }

    const line_sections& lines(std::uint32_t module) const {
        return lines_[module].get([this, module] { return make_line_sections(dbi_.modules[module]); });
    }

    std::optional<std::uint32_t> document_of(std::uint32_t name) const {
        return known_names_.get(name, [&] { return documents().find(strings().text(name)); });
    }

    line_sections make_line_sections(const module_info& module) const;
    source_names read_source_names() const;
    source_names read_names_of_modules() const;
    position_index make_position_index() const;
    std::vector<sequence_point> points(const found_procedure& procedure) const;
    file_list make_file_list(std::uint32_t module) const;
    std::optional<file_entry> find_file_entry(std::uint32_t document) const;

    static constexpr std::uint32_t absent = 0xFFFFFFFF;

    msf_file file_;
    pdb_id id_ = {};
    named_streams names_;
    dbi_info dbi_ = {};
    procedure_index procedures_{file_, dbi_};
    lazy<string_table> strings_;
    lazy<document_table> documents_;
    known_names known_names_;
    lazy<position_index> positions_;
    std::vector<lazy<line_sections>> lines_;  // by module
    std::vector<lazy<file_list>> files_;      // by module
};

line_sections pdb::implementation::make_line_sections(const module_info& module) const {
    if (!module.stream) throw_corrupt("PDB stream not found");
    if (module.c11_size != 0 && module.c13_size == 0)
        throw_hresult_error("Unsupported line information", e_pdb_not_implemented);
    return {file_.stream(*module.stream), std::uint64_t{module.symbol_size} + module.c11_size, module.c13_size};
}

// The list in the DBI stream saves opening every module; without it the modules' own tables serve.
source_names pdb::implementation::read_source_names() const {
    source_names sources;
    const bool listed = dbi_.source_list_size != 0 && content_allows([&] {
                            sources.buffer =
                                file_.stream(dbi_stream).bytes(dbi_.source_list_offset, dbi_.source_list_size);
                            for (const auto& file : read_source_list(sources.buffer))
                                sources.files.push_back({file.name, file.module, std::nullopt});
                        });
    return listed ? std::move(sources) : read_names_of_modules();
}

source_names pdb::implementation::read_names_of_modules() const {
    source_names sources;
    std::vector<std::tuple<std::size_t, std::size_t, std::uint32_t>> places;  // in the buffer; module
    std::vector<bool> seen;
    const auto add_files_of = [&](std::uint32_t index) {
        const auto& module = lines(index);
        seen.resize(strings().size());
        for (const auto place : module.files()) {
            const auto name = module.name_of_file(place);
            if (!strings().has_name(name) || seen[name]) continue;
            const auto text = strings().text(name);
            seen[name] = true;
            places.emplace_back(sources.buffer.size(), text.size(), index);
            sources.buffer.insert(sources.buffer.end(), text.begin(), text.end());
        }
    };
    // When one fails, the files of the other modules are all there.
    for (std::uint32_t i = 0; i < dbi_.modules.size(); ++i)
        if (dbi_.modules[i].stream && dbi_.modules[i].c13_size != 0) content_allows([&] { add_files_of(i); });
    const std::string_view buffer(reinterpret_cast<const char*>(sources.buffer.data()), sources.buffer.size());
    for (const auto& [begin, size, module] : places)
        sources.files.push_back({buffer.substr(begin, size), module, std::nullopt});
    return sources;
}

position_index pdb::implementation::make_position_index() const {
    position_index index;
    std::set<std::pair<std::uint32_t, code_address>> seen;  // lines have one owner
    for (const auto& [token, procedure] : procedures_.all())
        // A method that cannot be read has no position.
        if (seen.emplace(procedure.module, procedure.address).second)
            content_allows([&, token = token, &place = procedure] { index.add(token, points(place)); });
    index.finish();
    return index;
}

std::vector<sequence_point> pdb::implementation::points(std::uint32_t token) const {
    const auto procedure = procedures_.find(token);
    return procedure ? points(*procedure) : std::vector<sequence_point>();
}

std::vector<sequence_point> pdb::implementation::points(const found_procedure& procedure) const {
    std::vector<sequence_point> result;
    const auto& module_of_lines = dbi_.modules[procedure.module];
    if (module_of_lines.c11_size + std::uint64_t{module_of_lines.c13_size} == 0) return result;
    const auto& module = lines(procedure.module);
    const auto document_of_file = [&](std::uint32_t file) {
        const auto document = document_of(module.name_of_file(file));
        if (!document) throw_corrupt("Unknown source file");
        return *document;
    };
    module.read_points(procedure.address, document_of_file, result);
    const auto by_offset = [](const sequence_point& left, const sequence_point& right) {
        return left.il_offset < right.il_offset;
    };
    if (!std::is_sorted(result.begin(), result.end(), by_offset))
        std::stable_sort(result.begin(), result.end(), by_offset);
    return result;
}

pdb::implementation::file_list pdb::implementation::make_file_list(std::uint32_t module) const {
    const auto& own = lines(module);
    file_list files;
    for (const auto place : own.files()) {
        const auto name = own.name_of_file(place);
        if (!strings().has_name(name)) continue;  // the others are all there
        if (const auto document = document_of(name)) files.emplace_back(*document, place);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The entry of the document in the file table of the first module that lists it.
std::optional<file_entry> pdb::implementation::find_file_entry(std::uint32_t document) const {
    const auto module = documents()[document].module;
    if (!module || *module >= dbi_.modules.size()) return std::nullopt;
    const auto& files = files_[*module].get([&] { return make_file_list(*module); });
    const auto found = std::lower_bound(files.begin(), files.end(), std::pair(document, std::uint32_t{0}));
    if (found == files.end() || found->first != document) return std::nullopt;
    return lines(*module).file(found->second);
}

document pdb::implementation::read_document(std::uint32_t index) const {
    const auto listed = documents()[index];
    document document = {};
    if (listed.stream) read_document_record(file_.stream(*listed.stream), document);
    if (!document.checksum.empty()) return document;
    if (auto entry = find_file_entry(index); entry && !entry->checksum.empty()) {
        document.checksum_algorithm = checksum_algorithm(entry->checksum_kind);
        document.checksum = std::move(entry->checksum);
    }
    return document;
}

std::vector<unsigned char> pdb::implementation::source_server_data() const {
    if (const auto stream = names_.find("srcsrv"))
        if (auto data = file_.stream(*stream).bytes(); !data.empty()) return data;
    return read_source_link(file_, names_);
}

pdb::pdb(std::unique_ptr<const implementation> content) : content_(std::move(content)) {}

pdb::~pdb() = default;

std::shared_ptr<const pdb> pdb::open(std::unique_ptr<const byte_source> source) {
    return std::shared_ptr<const pdb>(new pdb(std::make_unique<const implementation>(std::move(source))));
}

std::shared_ptr<const pdb> pdb::open(const boost::filesystem::path& path) {
    return open(open_disk_file(path));
}

std::shared_ptr<const pdb> pdb::open(std::vector<unsigned char> bytes) {
    return open(std::make_unique<const memory_source>(std::move(bytes)));
}

const pdb_id& pdb::id() const noexcept {
    return content_->id();
}

std::vector<std::uint32_t> pdb::methods() const {
    std::vector<std::uint32_t> tokens;
    for (const auto& entry : content_->procedures().all()) tokens.push_back(entry.token);
    return tokens;
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
    const std::string name(content_->documents().name(index));
    try {
        // The conversion takes characters that are longer than they need be; under such a name nobody would find it.
        if (auto url = text::to_utf16(name); text::to_utf8(url) == name) return url;
    } catch (const std::runtime_error&) {
    }
    throw_corrupt("Invalid document name");
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
    return content_->source_server_data();
}

}  // namespace qv::classic_reader
