#include "symbol_services/classic_reader/global_references.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t table_version = 0xF12F091A;
constexpr std::uint16_t kind_token_reference = 0x1129;
constexpr std::uint32_t bucket_unit = 12;
constexpr std::size_t token_digits = 8;

struct table_header {
    std::uint32_t signature;
    std::uint32_t version;
    std::uint32_t records_size;
    std::uint32_t buckets_size;
};

struct hash_record {
    std::uint32_t offset_plus_1;
    std::uint32_t reference_count;
};

#pragma pack(push, 1)
struct token_reference {
    std::uint16_t length;
    std::uint16_t kind;
    std::uint32_t unused;
    std::uint32_t offset;
    std::uint16_t module;
    char digits[token_digits];
    char terminator;
};
#pragma pack(pop)
static_assert(sizeof(token_reference) == 23);

std::string token_name(std::uint32_t token) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string name;
    for (int shift = 28; shift >= 0; shift -= 4) name += digits[token >> shift & 15];
    return name;
}

}  // namespace

std::uint32_t hash_name(std::string_view name) noexcept {
    std::uint32_t hash = 0;
    const auto mix = [&]<class T>(T word) {
        std::memcpy(&word, name.data(), sizeof word);
        name.remove_prefix(sizeof word);
        hash ^= word;
    };
    while (name.size() >= sizeof(std::uint32_t)) mix(std::uint32_t{});
    if (name.size() >= sizeof(std::uint16_t)) mix(std::uint16_t{});
    if (!name.empty()) mix(std::uint8_t{});
    hash |= 0x20202020;
    hash ^= hash >> 11;
    return hash ^ hash >> 16;
}

global_references::global_references(const msf_stream& global_symbols, const msf_stream& symbol_records)
    : symbols_(global_symbols), records_(symbol_records) {
    const auto header = symbols_.read_value<table_header>(0);
    if (header.signature != 0xFFFFFFFF || header.version != table_version)
        throw_hresult_error("Unsupported global symbols", e_pdb_not_implemented);
    const std::uint64_t bits_at = sizeof header + std::uint64_t{header.records_size};
    present_.resize(global_bucket_count / 32 + 1);
    const std::uint64_t bits_size = 4 * present_.size();
    if (header.buckets_size < bits_size || bits_at + header.buckets_size > symbols_.size())
        throw_corrupt("Invalid global symbols");
    symbols_.read(bits_at, {reinterpret_cast<unsigned char*>(present_.data()), 4 * present_.size()});
    ranks_.resize(present_.size());
    for (std::size_t i = 1; i < ranks_.size(); ++i)
        ranks_[i] = ranks_[i - 1] + static_cast<std::uint32_t>(std::popcount(present_[i - 1]));
    record_count_ = header.records_size / sizeof(hash_record);
    buckets_at_ = bits_at + bits_size;
    bucket_count_ = (header.buckets_size - bits_size) / sizeof(std::uint32_t);
}

// From the bucket's first record to the next bucket's.
global_references::record_range global_references::records_of(std::uint32_t bucket) const {
    const auto word = bucket / 32;
    const auto bit = std::uint32_t{1} << bucket % 32;
    if ((present_[word] & bit) == 0) return {0, 0};
    const std::uint64_t index =
        std::uint64_t{ranks_[word]} + static_cast<std::uint64_t>(std::popcount(present_[word] & (bit - 1)));

    const auto first_record = [this](std::uint64_t at) -> std::uint64_t {
        if (at >= bucket_count_) return record_count_;
        return symbols_.read_value<std::uint32_t>(buckets_at_ + 4 * at) / bucket_unit;
    };
    return {first_record(index), std::min(first_record(index + 1), record_count_)};
}

std::uint64_t global_references::largest_bucket() const noexcept {
    return 1024 + 4 * (record_count_ / global_bucket_count);
}

void global_references::find(std::uint32_t pdb_token, std::uint64_t& allowance,
                             const std::function<bool(const procedure_location&)>& visit) const {
    const auto name = token_name(pdb_token);
    const auto range = records_of(hash_name(name) % global_bucket_count);
    for (auto at = range.begin; at < range.end && allowance != 0; ++at, --allowance) {
        const auto entry = symbols_.read_value<hash_record>(sizeof(table_header) + sizeof(hash_record) * at);
        const std::uint64_t offset = std::uint64_t{entry.offset_plus_1} - 1;
        // The bucket holds other kinds of symbols as well, which may be shorter.
        if (entry.offset_plus_1 == 0 || offset + sizeof(token_reference) > records_.size()) continue;
        const auto record = records_.read_value<token_reference>(offset);
        if (record.kind == kind_token_reference && record.terminator == '\0' && record.module != 0 &&
            std::string_view(record.digits, token_digits) == name && visit({record.module - 1u, record.offset}))
            return;
    }
}

}  // namespace qv::classic_reader
