#include "symbol_services/classic_reader/document_table.h"

#include "symbol_services/classic_reader/path_fold.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr const char* source_name = "symbol_services/classic_reader/document_table";
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
        throw_corrupt("Invalid document",
                      "struct qv::classic_reader::`anonymous-namespace'::record_header __cdecl "
                      "qv::classic_reader::`anonymous-namespace'::read_header(const class "
                      "qv::classic_reader::msf_stream &)",
                      source_name, __LINE__);
    return header;
}

}  // namespace

document_table::document_table(const named_streams& streams) {
    const auto all = streams.all();
    records_.reserve(all.size());  // the views stay valid
    for (const auto& [name, stream] : all) {
        if (!name.starts_with(record_prefix)) continue;
        records_.emplace_back(fold_path(name.substr(record_prefix.size())), stream);
        record_by_name_.emplace(records_.back().first, stream);
    }
}

void document_table::add(std::string_view name, std::uint32_t module) {
    if (!by_name_.try_emplace(std::string(name), size()).second) return;
    const auto at = by_folded_name_.try_emplace(fold_path(name), size()).first;
    listed_document document{std::string(name), module, std::nullopt};
    if (const auto record = record_by_name_.find(at->first); record != record_by_name_.end())
        document.stream = record->second;
    documents_.push_back(std::move(document));
}

void document_table::add_unlisted() {
    for (const auto& [name, stream] : records_) {
        if (!by_folded_name_.try_emplace(name, size()).second) continue;
        by_name_.try_emplace(name, size());
        documents_.push_back({name, std::nullopt, stream});
    }
}

std::optional<std::uint32_t> document_table::find(std::string_view name) const {
    const auto found = by_name_.find(std::string(name));
    return found == by_name_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint32_t> document_table::find_folded(std::string_view name) const {
    const auto found = by_folded_name_.find(fold_path(name));
    return found == by_folded_name_.end() ? std::nullopt : std::optional(found->second);
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
