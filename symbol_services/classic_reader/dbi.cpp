#include "symbol_services/classic_reader/dbi.h"

#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t oldest_version = 19990903;
constexpr std::uint16_t absent_stream = 0xFFFF;
constexpr std::uint64_t token_map_slot = 6;

struct dbi_header {
    std::int32_t signature;
    std::uint32_t version;
    std::uint32_t age;
    std::uint16_t global_symbols;
    std::uint16_t unused_1[3];
    std::uint16_t symbol_records;
    std::uint16_t unused_2;
    std::uint32_t module_list_size;
    std::uint32_t section_contribution_size;
    std::uint32_t section_map_size;
    std::uint32_t source_list_size;
    std::uint32_t type_server_map_size;
    std::uint32_t type_server;
    std::uint32_t debug_header_size;
    std::uint32_t edit_and_continue_size;
    std::uint32_t unused_3[2];
};
static_assert(sizeof(dbi_header) == 64);

struct module_record {
    std::uint32_t unused_1;
    unsigned char section_contribution[28];
    std::uint16_t flags;
    std::uint16_t stream;
    std::uint32_t symbol_size;
    std::uint32_t c11_size;
    std::uint32_t c13_size;
    std::uint16_t source_files;
    std::uint16_t unused_2;
    std::uint32_t unused_3[3];
};
static_assert(sizeof(module_record) == 64);

std::optional<std::uint16_t> present(std::uint16_t stream) {
    return stream == absent_stream ? std::nullopt : std::optional(stream);
}

std::vector<module_info> read_modules(std::span<const unsigned char> list) {
    std::vector<module_info> modules;
    std::vector<bool> owned(std::size_t{absent_stream} + 1);
    for (byte_cursor cursor(list); cursor.remaining() != 0;) {
        const auto record = cursor.read<module_record>();
        const auto names_begin = cursor.remaining();
        cursor.text();
        cursor.text();
        const auto names_size = names_begin - cursor.remaining();
        cursor.skip_up_to(align4(names_size) - names_size);
        const auto stream = owned[record.stream] ? std::nullopt : present(record.stream);
        owned[record.stream] = true;
        modules.push_back({stream, record.symbol_size, record.c11_size, record.c13_size});
    }
    return modules;
}

dbi_header read_header(const msf_stream& stream) {
    const auto header = stream.read_value<dbi_header>(0);
    if (header.signature != -1 || header.version < oldest_version)
        throw_hresult_error("Unsupported DBI version", e_pdb_not_implemented);
    return header;
}

}  // namespace

dbi_info read_dbi(const msf_stream& stream) {
    const auto header = read_header(stream);
    const std::uint64_t modules_at = sizeof header;
    const std::uint64_t sources_at = modules_at + header.module_list_size +
                                     std::uint64_t{header.section_contribution_size} + header.section_map_size;
    const std::uint64_t debug_header_at = sources_at + header.source_list_size +
                                          std::uint64_t{header.type_server_map_size} + header.edit_and_continue_size;
    if (debug_header_at + header.debug_header_size > stream.size()) throw_corrupt("Invalid DBI stream");

    dbi_info info = {};
    info.age = header.age;
    info.global_symbols = present(header.global_symbols);
    info.symbol_records = present(header.symbol_records);
    if (header.debug_header_size >= 2 * (token_map_slot + 1))
        info.token_map = present(stream.read_value<std::uint16_t>(debug_header_at + 2 * token_map_slot));
    info.modules = read_modules(stream.bytes(modules_at, header.module_list_size));
    info.source_list_offset = sources_at;
    info.source_list_size = header.source_list_size;
    return info;
}

std::vector<source_file> read_source_list(std::span<const unsigned char> list) {
    byte_cursor cursor(list);
    const std::uint64_t modules = cursor.read<std::uint16_t>();
    cursor.skip(2 + 2 * modules);
    const auto counts = cursor.take(2 * modules);
    std::uint64_t total = 0;
    for (byte_cursor count(counts); count.remaining() != 0;) total += count.read<std::uint16_t>();
    byte_cursor offsets(cursor.take(4 * total));
    const auto names = cursor.take(cursor.remaining());

    std::vector<source_file> files;
    std::vector<bool> seen(names.size());
    std::uint64_t allowance = names.size();  // names do not overlap
    byte_cursor count(counts);
    for (std::uint32_t module = 0; module < modules; ++module)
        for (unsigned left = count.read<std::uint16_t>(); left > 0; --left) {
            const auto offset = offsets.read<std::uint32_t>();
            if (offset < seen.size() && seen[offset]) continue;
            byte_cursor at(names);
            at.skip(offset);
            const auto name = at.text();
            seen[offset] = true;
            if (name.size() >= allowance) throw_corrupt("Invalid source file list");
            allowance -= name.size() + 1;
            files.push_back({name, module});
        }
    return files;
}

}  // namespace qv::classic_reader
