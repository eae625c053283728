#include "symbol_services/classic_reader/pdb_info.h"

#include <algorithm>
#include <bit>
#include <string>

#include "qv/diagnostics/work_counter.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t first_version_with_guid = 20000404;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

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

}  // namespace

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
    std::transform(result.names_.begin(), result.names_.end(), result.folded_.begin(), lower);
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
    std::transform(folded.begin(), folded.end(), folded.begin(), lower);
    return by_folded_name_.find(folded);
}

}  // namespace qv::classic_reader
