#include "symbol_services/classic_reader/module_symbols.h"

#include <algorithm>

#include "symbol_services/classic_reader/byte_cursor.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t records_version = 4;
constexpr std::uint16_t kind_global_procedure = 0x112A;
constexpr std::uint16_t kind_local_procedure = 0x112B;

struct record_header {
    std::uint16_t length;  // of what follows this field
    std::uint16_t kind;
};

#pragma pack(push, 1)
struct procedure_record {
    std::uint32_t parent;
    std::uint32_t end;
    std::uint32_t next;
    std::uint32_t size;
    std::uint32_t debug_start;
    std::uint32_t debug_end;
    std::uint32_t token;
    std::uint32_t offset;
    std::uint16_t section;
};
#pragma pack(pop)
static_assert(sizeof(procedure_record) == 34);

bool is_procedure(const record_header& header) {
    return (header.kind == kind_global_procedure || header.kind == kind_local_procedure) &&
           header.length >= sizeof header.kind + sizeof(procedure_record);
}

procedure to_procedure(const procedure_record& record, std::uint64_t offset) {
    return {record.token, {record.section, record.offset}, static_cast<std::uint32_t>(offset)};
}

}  // namespace

std::optional<procedure> procedure_at(const msf_stream& module, std::uint32_t symbol_size, std::uint32_t offset) {
    constexpr std::uint64_t whole = sizeof(record_header) + sizeof(procedure_record);
    const std::uint64_t end = std::min(symbol_size, module.size());
    if (offset < sizeof records_version || offset + whole > end) return std::nullopt;
    if (!is_procedure(module.read_value<record_header>(offset))) return std::nullopt;
    return to_procedure(module.read_value<procedure_record>(offset + sizeof(record_header)), offset);
}

std::vector<procedure> read_procedures(const msf_stream& module, std::uint32_t symbol_size) {
    const auto symbols = module.bytes(0, std::min(symbol_size, module.size()));
    std::vector<procedure> procedures;
    byte_cursor cursor(symbols);
    if (cursor.remaining() < sizeof records_version || cursor.read<std::uint32_t>() != records_version)
        return procedures;
    while (cursor.remaining() >= sizeof(record_header)) {
        const auto offset = symbols.size() - cursor.remaining();
        const auto header = cursor.read<record_header>();
        if (header.length < sizeof header.kind || header.length - sizeof header.kind > cursor.remaining()) break;
        byte_cursor content(cursor.take(header.length - sizeof header.kind));
        if (is_procedure(header)) procedures.push_back(to_procedure(content.read<procedure_record>(), offset));
    }
    return procedures;
}

}  // namespace qv::classic_reader
