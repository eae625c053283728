#include "symbol_services/classic_reader/pdb_info.h"

#include <algorithm>
#include <bit>

#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t first_version_with_guid = 20000404;

bool same_ascii_letter_case_aside(char left, char right) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return lower(left) == lower(right);
}

}  // namespace

pdb_info read_pdb_info(byte_cursor& cursor) {
    pdb_info info = {};
    info.version = cursor.read<std::uint32_t>();
    if (info.version < first_version_with_guid)
        throw_hresult_error("Unsupported PDB version", e_pdb_not_implemented,
                            "struct qv::classic_reader::pdb_info __cdecl qv::classic_reader::read_pdb_info("
                            "class qv::classic_reader::byte_cursor &)",
                            "symbol_services/classic_reader/pdb_info", __LINE__);
    info.signature = cursor.read<std::uint32_t>();
    info.age = cursor.read<std::uint32_t>();
    info.guid = cursor.read<GUID>();
    return info;
}

named_streams read_named_streams(byte_cursor& cursor) {
    named_streams result;
    const auto names = cursor.take(cursor.read<std::uint32_t>());
    result.names_.assign(names.begin(), names.end());
    cursor.skip(8);
    const auto read_words = [&cursor] {
        return byte_cursor(cursor.take(4 * std::uint64_t{cursor.read<std::uint32_t>()}));
    };
    auto present = read_words();
    read_words();
    while (present.remaining() != 0)
        for (int bits = std::popcount(present.read<std::uint32_t>()); bits > 0; --bits) {
            const auto name = cursor.read<std::uint32_t>();
            const auto stream = cursor.read<std::uint32_t>();
            if (name < result.names_.size()) result.entries_.push_back({name, stream});
        }
    return result;
}

std::string_view named_streams::name_at(std::uint32_t offset) const {
    const auto rest = std::string_view(names_).substr(offset);
    return rest.substr(0, rest.find('\0'));
}

std::vector<std::pair<std::string_view, std::uint32_t>> named_streams::all() const {
    std::vector<std::pair<std::string_view, std::uint32_t>> result;
    result.reserve(entries_.size());
    for (const auto& entry : entries_) result.emplace_back(name_at(entry.name), entry.stream);
    return result;
}

std::optional<std::uint32_t> named_streams::find(std::string_view name) const {
    for (const auto& entry : entries_) {
        const auto candidate = std::string_view(names_).substr(entry.name, name.size() + 1);
        if (candidate.size() < name.size() || (candidate.size() > name.size() && candidate.back() != '\0')) continue;
        if (std::equal(name.begin(), name.end(), candidate.begin(), same_ascii_letter_case_aside)) return entry.stream;
    }
    return std::nullopt;
}

}  // namespace qv::classic_reader
