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

// The first document of each name, in their order.
std::vector<listed_document> without_repetitions(std::vector<listed_document> documents) {
    const auto index = index_of(documents);
    if (index.size() == documents.size()) return documents;
    std::vector<listed_document> kept;
    for (std::uint32_t i = 0; i < documents.size(); ++i)
        if (index.find(documents[i].name) == i) kept.push_back(documents[i]);
    return kept;
}

}  // namespace

document_table::document_table(source_names sources, const named_streams& streams)
    : buffer_(std::move(sources.buffer)), documents_(without_repetitions(std::move(sources.files))) {
    join_records(streams);
    by_name_ = index_of(documents_);
}

void document_table::join_records(const named_streams& streams) {
    struct record {
        std::string_view name;
        std::uint32_t stream;
        bool listed;
    };
    std::vector<record> records;
    for (const auto& [name, stream] : streams.all())
        if (name.starts_with(record_prefix)) records.push_back({name.substr(record_prefix.size()), stream, false});
    // In the order of their names, so that the order does not depend on the machine.
    const auto before = [](const record& left, const record& right) { return left.name < right.name; };
    std::stable_sort(records.begin(), records.end(), before);
    name_index by_name;
    for (std::uint32_t i = 0; i < records.size(); ++i) by_name.add(records[i].name, i);
    by_name.finish();

    for (auto& document : documents_)
        if (const auto found = by_name.find(fold_path(document.name))) {
            document.stream = records[*found].stream;
            records[*found].listed = true;
        }
    for (std::uint32_t i = 0; i < records.size(); ++i)
        if (!records[i].listed && by_name.find(records[i].name) == i)
            documents_.push_back({records[i].name, std::nullopt, records[i].stream});
}

std::optional<std::uint32_t> document_table::find_folded(std::string_view name) const {
    const auto& folded = by_folded_name_.get([this] {
        folded_names made;
        made.names.reserve(documents_.size());
        for (const auto& document : documents_) made.names.push_back(fold_path(document.name));
        for (std::uint32_t i = 0; i < size(); ++i) made.index.add(made.names[i], i);
        made.index.finish();
        return made;
    });
    return folded.index.find(fold_path(name));
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
