#include "symbol_services/classic_reader/document_table.h"

#include <map>

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
    records_.reserve(all.size());
    by_name_.reserve(all.size());
    for (const auto& [name, stream] : all)
        if (name.starts_with(record_prefix)) records_.emplace(name.substr(record_prefix.size()), record{stream});
}

void document_table::add(std::string_view name, std::uint32_t module) {
    if (by_name_.contains(name)) return;
    auto& document = documents_.emplace_back(listed_document{std::string(name), module, std::nullopt});
    by_name_.emplace(document.name, size() - 1);
    const auto found = records_.find(fold_path(name));
    if (found == records_.end()) return;
    document.stream = found->second.stream;
    found->second.listed = true;
}

void document_table::add_unlisted() {
    // In the order of their names, so that the order does not depend on the machine.
    std::map<std::string_view, std::uint32_t> unlisted;
    for (const auto& [name, entry] : records_)
        if (!entry.listed) unlisted.emplace(name, entry.stream);
    for (const auto& [name, stream] : unlisted) {
        const auto& document = documents_.emplace_back(listed_document{std::string(name), std::nullopt, stream});
        by_name_.emplace(document.name, size() - 1);
    }
}

std::optional<std::uint32_t> document_table::find(std::string_view name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint32_t> document_table::find_folded(std::string_view name) const {
    const auto folded = fold_path(name);
    for (std::uint32_t index = 0; index < size(); ++index)
        if (fold_path(documents_[index].name) == folded) return index;
    return std::nullopt;
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
