#include "symbol_services/classic_reader/names.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <iterator>
#include <numeric>
#include <string>

#include "base/work_counter.h"
#include "symbol_services/classic_reader/pdb_errors.h"
#include "text/ascii.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t first_version_with_guid = 20000404;

struct named_entry {
    std::uint32_t name;  // offset
    std::uint32_t stream;
};

// One entry for each present bit.
std::vector<named_entry> read_entries(byte_cursor& cursor) {
    const auto read_words = [&cursor] {
        return byte_cursor(cursor.take(4 * std::uint64_t{cursor.read<std::uint32_t>()}));
    };
    auto present = read_words();
    read_words();
    std::vector<named_entry> entries;
    while (present.remaining() != 0)
        for (int bits = std::popcount(present.read<std::uint32_t>()); bits > 0; --bits)
            entries.push_back(cursor.read<named_entry>());
    return entries;
}

constexpr std::uint32_t table_signature = 0xEFFEEFFE;
constexpr std::uint32_t longest_name = 0x7FFF;  // no path is longer

struct table_header {
    std::uint32_t signature;
    std::uint32_t version;
    std::uint32_t size;
};

}  // namespace

name_index::entry name_index::make_entry(std::string_view name, std::uint32_t value) {
    count_work(name.size());
    return {std::hash<std::string_view>()(name), name, value};
}

bool name_index::before(const entry& left, const entry& right) noexcept {
    count_work(1);
    return left.hash != right.hash ? left.hash < right.hash : left.name < right.name;
}

void name_index::add(std::string_view name, std::uint32_t value) {
    entries_.push_back(make_entry(name, value));
}

void name_index::finish() {
    begins_.assign(std::bit_ceil(entries_.size() + 1) + 1, 0);
    for (const auto& item : entries_) ++begins_[bucket_of(item) + 1];
    std::partial_sum(begins_.begin(), begins_.end(), begins_.begin());
    std::vector<entry> by_bucket(entries_.size());
    auto ends = begins_;
    for (const auto& item : entries_) by_bucket[ends[bucket_of(item)]++] = item;

    const auto same_name = [](const entry& left, const entry& right) { return left.name == right.name; };
    entries_.clear();
    for (std::size_t bucket = 0; bucket + 1 < begins_.size(); ++bucket) {
        const auto begin = by_bucket.begin() + begins_[bucket];
        const auto end = by_bucket.begin() + ends[bucket];
        if (end - begin > 1) std::stable_sort(begin, end, before);
        begins_[bucket] = static_cast<std::uint32_t>(entries_.size());
        std::unique_copy(begin, end, std::back_inserter(entries_), same_name);
    }
    begins_.back() = static_cast<std::uint32_t>(entries_.size());
}

std::optional<std::uint32_t> name_index::find(std::string_view name) const {
    if (entries_.empty()) return std::nullopt;
    const entry wanted = make_entry(name, 0);
    const auto begin = entries_.begin() + begins_[bucket_of(wanted)];
    const auto end = entries_.begin() + begins_[bucket_of(wanted) + 1];
    const auto at = std::lower_bound(begin, end, wanted, before);
    return at == end || at->name != name ? std::nullopt : std::optional(at->value);
}

pdb_info read_pdb_info(byte_cursor& cursor) {
    pdb_info info = {};
    info.version = cursor.read<std::uint32_t>();
    if (info.version < first_version_with_guid) throw_hresult_error("Unsupported PDB version", e_pdb_not_implemented);
    info.signature = cursor.read<std::uint32_t>();
    info.age = cursor.read<std::uint32_t>();
    info.guid = cursor.read<GUID>();
    return info;
}

named_streams read_named_streams(byte_cursor& cursor) {
    named_streams result;
    const auto names = cursor.take(cursor.read<std::uint32_t>());
    result.names_.assign(names.begin(), names.end());
    result.folded_.resize(names.size());
    std::transform(result.names_.begin(), result.names_.end(), result.folded_.begin(), text::to_ascii_lower<char>);
    cursor.skip(8);

    auto entries = read_entries(cursor);
    std::stable_sort(entries.begin(), entries.end(),
                     [](const named_entry& left, const named_entry& right) { return left.name < right.name; });
    std::uint64_t free_from = 0;  // where the names before this one end
    for (const auto& [offset, stream] : entries) {
        if (offset < free_from || offset >= names.size()) continue;
        const auto rest = std::string_view(result.names_.data(), names.size()).substr(offset);
        const auto name = rest.substr(0, rest.find('\0'));
        count_work(name.size() + 1);
        free_from = offset + std::uint64_t{name.size()} + 1;
        result.all_.emplace_back(name, stream);
        result.by_folded_name_.add({result.folded_.data() + offset, name.size()}, stream);
    }
    result.by_folded_name_.finish();
    return result;
}

std::optional<std::uint32_t> named_streams::find(std::string_view name) const {
    std::string folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(), text::to_ascii_lower<char>);
    return by_folded_name_.find(folded);
}

string_table::string_table(const msf_stream& stream) : stream_(stream) {
    const auto header = stream.read_value<table_header>(0);
    if (header.signature != table_signature || header.size > stream.size() - sizeof header)
        throw_corrupt("Invalid string table");
    size_ = header.size;
}

bool string_table::has_name(std::uint32_t offset) const {
    return offset < size_ &&
           (offset == 0 || stream_.read_value<char>(sizeof(table_header) + std::uint64_t{offset} - 1) == '\0');
}

std::string string_table::text(std::uint32_t offset) const {
    if (!has_name(offset)) throw_corrupt("Invalid name offset");
    return stream_.text(sizeof(table_header) + std::uint64_t{offset}, std::min(size_ - offset, longest_name));
}

}  // namespace qv::classic_reader
