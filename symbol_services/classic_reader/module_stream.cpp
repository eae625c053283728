#include "symbol_services/classic_reader/module_stream.h"

#include <algorithm>
#include <cstring>

#include "base/work_counter.h"
#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/pdb_errors.h"

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

constexpr std::uint32_t kind_lines = 0xF2;
constexpr std::uint32_t kind_files = 0xF4;
constexpr std::uint16_t flag_columns = 1;
constexpr std::uint32_t largest_subsections = 0xFFFFFFFF;

struct subsection_header {
    std::uint32_t kind;
    std::uint32_t size;
};

struct lines_header {
    std::uint32_t offset;
    std::uint16_t section;
    std::uint16_t flags;
    std::uint32_t code_size;
};

struct block_header {
    std::uint32_t file;
    std::uint32_t lines;
    std::uint32_t size;
};

struct line_record {
    std::uint32_t il_offset;
    std::uint32_t line;
};

struct column_record {
    std::uint16_t start;
    std::uint16_t end;
};

// The bytes are there.
template <class Record>
Record record_at(const unsigned char* records, std::size_t index) {
    Record record;
    std::memcpy(&record, records + sizeof record * index, sizeof record);
    return record;
}

void read_block(byte_cursor& blocks, bool columns, const std::function<std::uint32_t(std::uint32_t)>& document_of,
                std::vector<sequence_point>& points) {
    const auto header = blocks.read<block_header>();
    const std::uint64_t needed =
        sizeof header + std::uint64_t{header.lines} * (sizeof(line_record) + (columns ? sizeof(column_record) : 0));
    if (header.size < needed || header.size - sizeof header > blocks.remaining())
        throw_corrupt("Invalid line information");
    const auto* const lines = blocks.take(header.size - sizeof header).data();
    const auto* const columns_of_lines = lines + sizeof(line_record) * std::size_t{header.lines};
    const auto document = document_of(header.file);
    const auto room = points.capacity();
    auto point = points.insert(points.end(), header.lines, sequence_point{});
    for (std::size_t i = 0; i < header.lines; ++i, ++point) {
        const auto line = record_at<line_record>(lines, i);
        const auto column = columns ? record_at<column_record>(columns_of_lines, i) : column_record{};
        const auto start_line = line.line & 0x00FFFFFF;
        *point = {line.il_offset, document, start_line, column.start, start_line + (line.line >> 24 & 0x7F),
                  column.end};
    }
    count_work(header.lines);
    if (points.capacity() != room) count_work(points.size());  // growing moves them all
}

}  // namespace

#pragma pack(push, 1)
struct line_sections::file_record {
    std::uint32_t name;
    std::uint8_t checksum_size;
    std::uint8_t checksum_kind;
};
#pragma pack(pop)

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

line_sections::line_sections(const msf_stream& module, std::uint64_t begin, std::uint64_t size) : module_(module) {
    const std::uint64_t end = begin + std::min<std::uint64_t>(size, largest_subsections);
    complete_ = end <= module.size();
    for (std::uint64_t at = begin; complete_ && at + sizeof(subsection_header) <= end;) {
        const auto header = module.read_value<subsection_header>(at);
        at += sizeof header;
        if (header.size > end - at) {
            complete_ = false;
            break;
        }
        if (header.kind == kind_lines) add_lines(at, header.size);
        if (header.kind == kind_files && files_size_ == 0) {
            files_at_ = at;
            files_size_ = header.size;
        }
        at += align4(header.size);
    }
    std::stable_sort(sections_.begin(), sections_.end(),
                     [](const section& left, const section& right) { return left.address < right.address; });
}

void line_sections::add_lines(std::uint64_t offset, std::uint32_t size) {
    if (size <= sizeof(lines_header)) return;  // no block
    const auto header = module_.read_value<lines_header>(offset);
    sections_.push_back({{header.section, header.offset},
                         offset + sizeof header,
                         size - static_cast<std::uint32_t>(sizeof header),
                         (header.flags & flag_columns) != 0});
}

bool line_sections::read_points(code_address address, const std::function<std::uint32_t(std::uint32_t)>& document_of,
                                std::vector<sequence_point>& points) const {
    const auto before = [](const section& one, const code_address& wanted) { return one.address < wanted; };
    auto at = std::lower_bound(sections_.begin(), sections_.end(), address, before);
    const bool found = at != sections_.end() && at->address == address;
    // What is missing may have been lost.
    if (!found && !complete_) throw_corrupt("Invalid line information");
    std::vector<unsigned char> room;
    for (; at != sections_.end() && at->address == address; ++at) {
        const auto bytes = module_.view(at->offset, at->size, room);
        for (byte_cursor blocks(bytes); blocks.remaining() != 0;) read_block(blocks, at->columns, document_of, points);
    }
    return found;
}

line_sections::file_record line_sections::record_of_file(std::uint32_t offset) const {
    if (std::uint64_t{offset} + sizeof(file_record) > files_size_) throw_corrupt("Invalid source file table");
    const auto record = module_.read_value<file_record>(files_at_ + offset);
    if (std::uint64_t{offset} + sizeof record + record.checksum_size > files_size_)
        throw_corrupt("Invalid source file table");
    return record;
}

std::uint32_t line_sections::name_of_file(std::uint32_t offset) const {
    return record_of_file(offset).name;
}

file_entry line_sections::file(std::uint32_t offset) const {
    const auto record = record_of_file(offset);
    return {record.name, record.checksum_kind, module_.bytes(files_at_ + offset + sizeof record, record.checksum_size)};
}

std::vector<std::uint32_t> line_sections::files() const {
    std::vector<std::uint32_t> offsets;
    for (std::uint64_t at = 0; at + sizeof(file_record) <= files_size_;) {
        const auto record = module_.read_value<file_record>(files_at_ + at);
        const std::uint64_t end = at + sizeof record + record.checksum_size;
        if (end > files_size_) break;
        offsets.push_back(static_cast<std::uint32_t>(at));
        at = align4(end);
    }
    return offsets;
}

}  // namespace qv::classic_reader
