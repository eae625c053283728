#include "symbol_services/classic_reader/document_table.h"

#include <algorithm>

#include "symbol_services/classic_reader/path_fold.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::string_view record_prefix = "/src/files/";

constexpr GUID md5 = {0x406EA660, 0x64CF, 0x4C82, {0xB6, 0xF0, 0x42, 0xD4, 0x81, 0x72, 0xA7, 0x99}};
constexpr GUID sha1 = {0xFF1816EC, 0xAA5E, 0x4D10, {0x87, 0xF7, 0x6F, 0x49, 0x63, 0x83, 0x34, 0x60}};
constexpr GUID sha256 = {0x8829D00F, 0x11B8, 0x4213, {0x87, 0x8B, 0x77, 0x0E, 0x85, 0x97, 0xAC, 0x16}};

struct record_header {
    GUID language;
    GUID vendor;
    GUID type;
    GUID checksum_algorithm;
    std::uint32_t checksum_size;
    std::uint32_t source_size;
};
static_assert(sizeof(record_header) == 72);

record_header read_header(const msf_stream& record) {
    const auto header = record.read_value<record_header>(0);
    if (sizeof header + std::uint64_t{header.checksum_size} + header.source_size > record.size())
        throw_corrupt("Invalid document");
    return header;
}

name_index index_of(const std::vector<listed_document>& documents) {
    name_index index;
    for (std::uint32_t i = 0; i < documents.size(); ++i) index.add(documents[i].name, i);
    index.finish();
    return index;
}

}  // namespace

document_table::document_table(source_names sources, const named_streams& streams)
    : streams_(streams),
      buffer_(std::move(sources.buffer)),
      listed_(std::move(sources.files)),
      listed_by_name_(index_of(listed_)) {
    if (listed_by_name_.size() == listed_.size()) return;
    // The first document of each name, in their order.
    std::vector<listed_document> kept;
    for (std::uint32_t i = 0; i < listed_.size(); ++i)
        if (listed_by_name_.find(listed_[i].name) == i) kept.push_back(listed_[i]);
    listed_ = std::move(kept);
    listed_by_name_ = index_of(listed_);
}

const document_table::joined_records& document_table::records() const {
    return records_.get([this] { return join_records(); });
}

document_table::joined_records document_table::join_records() const {
    struct record {
        std::string_view name;
        std::uint32_t stream;
        bool listed;
    };
    std::vector<record> records;
    for (const auto& [name, stream] : streams_.all())
        if (name.starts_with(record_prefix)) records.push_back({name.substr(record_prefix.size()), stream, false});
    // In the order of their names, so that the order does not depend on the machine.
    const auto before = [](const record& left, const record& right) { return left.name < right.name; };
    std::stable_sort(records.begin(), records.end(), before);
    name_index by_name;
    for (std::uint32_t i = 0; i < records.size(); ++i) by_name.add(records[i].name, i);
    by_name.finish();

    joined_records joined;
    joined.of_listed.resize(listed_.size());
    for (std::size_t i = 0; i < listed_.size(); ++i)
        if (const auto found = by_name.find(fold_path(listed_[i].name))) {
            joined.of_listed[i] = records[*found].stream;
            records[*found].listed = true;
        }
    for (std::uint32_t i = 0; i < records.size(); ++i)
        if (!records[i].listed && by_name.find(records[i].name) == i)
            joined.unlisted.push_back({records[i].name, std::nullopt, records[i].stream});
    joined.unlisted_by_name = index_of(joined.unlisted);
    return joined;
}

listed_document document_table::operator[](std::uint32_t index) const {
    if (index >= listed_.size()) return records().unlisted[index - listed_.size()];
    listed_document document = listed_[index];
    document.stream = records().of_listed[index];
    return document;
}

std::string_view document_table::name(std::uint32_t index) const {
    return index < listed_.size() ? listed_[index].name : records().unlisted[index - listed_.size()].name;
}

std::optional<std::uint32_t> document_table::find(std::string_view name) const {
    if (const auto found = listed_by_name_.find(name)) return found;
    const auto found = records().unlisted_by_name.find(name);
    return found ? std::optional(static_cast<std::uint32_t>(listed_.size()) + *found) : std::nullopt;
}

std::optional<std::uint32_t> document_table::find_folded(std::string_view wanted) const {
    const auto& folded = by_folded_name_.get([this] {
        folded_names made;
        made.names.reserve(size());
        for (std::uint32_t i = 0; i < size(); ++i) made.names.push_back(fold_path(name(i)));
        for (std::uint32_t i = 0; i < size(); ++i) made.index.add(made.names[i], i);
        made.index.finish();
        return made;
    });
    return folded.index.find(fold_path(wanted));
}

void read_document_record(const msf_stream& record, document& document) {
    const auto header = read_header(record);
    document.language = header.language;
    document.vendor = header.vendor;
    document.type = header.type;
    document.checksum = record.bytes(sizeof header, header.checksum_size);
    document.checksum_algorithm = document.checksum.empty() ? GUID{} : header.checksum_algorithm;
    document.source_size = header.source_size;
}

std::vector<unsigned char> read_embedded_source(const msf_stream& record) {
    const auto header = read_header(record);
    return record.bytes(sizeof header + std::uint64_t{header.checksum_size}, header.source_size);
}

GUID checksum_algorithm(std::uint8_t kind) noexcept {
    switch (kind) {
        case 1: return md5;
        case 2: return sha1;
        case 3: return sha256;
        default: return {};
    }
}

}  // namespace qv::classic_reader
