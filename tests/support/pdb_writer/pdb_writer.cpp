#include "tests/support/pdb_writer/pdb_writer.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "symbol_services/classic_reader/global_references.h"
#include "symbol_services/classic_reader/path_fold.h"

namespace qv::test {
namespace {

constexpr std::uint32_t code_base = 0x10;  // the made-up address of the first method of a module
constexpr std::uint32_t code_step = 0x100;

// The names of all files, for the string table and for the source list.
struct file_names {
    explicit file_names(const std::vector<pdb_file>& files) {
        for (const auto& file : files) {
            offsets.push_back(static_cast<std::uint32_t>(text.size()));
            text.text(file.name).u8(0);
        }
    }

    byte_writer text = byte_writer().u8(0);
    std::vector<std::uint32_t> offsets;  // by file
};

struct written_procedure {
    std::uint32_t token, offset;
    std::size_t module;
};

// Several symbols around each procedure, as compilers write them: a slot, a block, a namespace.
bytes write_symbols(const pdb_module& module, std::size_t index, std::vector<written_procedure>& procedures) {
    byte_writer out;
    out.u32(4);
    std::uint32_t code = code_base;
    for (const auto& method : module.methods) {
        const auto begin = static_cast<std::uint32_t>(out.size());
        procedures.push_back({method.token, begin, index});
        const auto end_record = begin + 48 + 20 + 28 + 4 + 8;
        out.u16(46).u16(method.local ? 0x112B : 0x112A).u32(0).u32(end_record).u32(0).u32(code_step).u32(0).u32(0);
        out.u32(method.token).u32(code).u16(1).u8(0).u16(0).text("Method").u8(0);
        out.u16(18).u16(0x1120).u32(0).u32(0x11000001).u32(0).u32(1);                          // S_MANSLOT
        out.u16(26).u16(0x1103).u32(begin).u32(end_record - 12).u32(code_step).u32(code);      // S_BLOCK32
        out.u16(1).zeros(6).u16(2).u16(6).u16(6).u16(0x1124).text("Sys").u8(0).u16(2).u16(6);  // S_UNAMESPACE
        code += code_step;
    }
    return out.data();
}

bytes write_lines(const pdb_method& method, std::uint32_t code, bool columns,
                  const std::map<unsigned, std::uint32_t>& files) {
    byte_writer out;
    out.u32(code).u16(1).u16(columns).u32(code_step);
    for (const auto& [file, points] : method.lines) {
        out.u32(files.at(file)).u32(points.size()).u32(12 + points.size() * (columns ? 12u : 8u));
        for (const auto& point : points)
            out.u32(point.il_offset).u32(0x80000000 | (point.end_line - point.start_line) << 24 | point.start_line);
        if (!columns) continue;
        for (const auto& point : points) out.u16(point.start_column).u16(point.end_column);
    }
    return out.data();
}

std::vector<unsigned> files_of(const pdb_module& module) {
    std::vector<unsigned> files;
    for (const auto& method : module.methods)
        for (const auto& block : method.lines)
            if (std::ranges::find(files, block.file) == files.end()) files.push_back(block.file);
    return files;
}

bytes write_line_sections(const pdb_module& module, const std::vector<pdb_file>& files, const file_names& names) {
    byte_writer table;
    std::map<unsigned, std::uint32_t> offsets;
    for (const auto index : files_of(module)) {
        const auto& file = files[index];
        offsets[index] = static_cast<std::uint32_t>(table.size());
        table.u32(names.offsets[index]).u8(file.table_checksum.size()).u8(file.table_checksum_kind);
        table.append(file.table_checksum).align(4);
    }
    byte_writer out;
    std::uint32_t code = code_base;
    for (const auto& method : module.methods) {
        if (!method.lines.empty()) {
            const auto lines = write_lines(method, code, module.columns, offsets);
            out.u32(0xF2).u32(lines.size()).append(lines);
        }
        code += code_step;
    }
    if (table.size() != 0) out.u32(0xF4).u32(table.size()).append(table.data());
    return out.data();
}

// The records, and the hash table over them.
std::pair<bytes, bytes> write_references(const std::vector<written_procedure>& procedures) {
    byte_writer records;
    std::map<std::uint32_t, std::vector<std::uint32_t>> buckets;
    for (const auto& procedure : procedures) {
        char name[9];
        std::snprintf(name, sizeof name, "%08x", static_cast<unsigned>(procedure.token));
        buckets[classic_reader::hash_name(name) % classic_reader::global_bucket_count].push_back(
            static_cast<std::uint32_t>(records.size()));
        records.u16(22).u16(0x1129).u32(0).u32(procedure.offset).u16(procedure.module + 1).text(name).u8(0).u8(0);
    }
    byte_writer hash_records, starts;
    bytes bits(516);
    for (const auto& [bucket, offsets] : buckets) {
        bits[bucket / 8] |= static_cast<unsigned char>(1u << bucket % 8);
        starts.u32(hash_records.size() / 8 * 12);
        for (const auto offset : offsets) hash_records.u32(offset + 1).u32(1);
    }
    byte_writer table;
    table.u32(0xFFFFFFFF).u32(0xF12F091A).u32(hash_records.size()).u32(bits.size() + starts.size());
    table.append(hash_records.data()).append(bits).append(starts.data());
    return {records.data(), table.data()};
}

bytes write_source_list(const pdb_description& description, const file_names& names) {
    byte_writer counts, offsets;
    for (const auto& module : description.modules) {
        const auto files = files_of(module);
        counts.u16(files.size());
        for (const auto file : files) offsets.u32(names.offsets[file]);
    }
    byte_writer out;
    out.u16(description.modules.size()).u16(offsets.size() / 4).zeros(2 * description.modules.size());
    return out.append(counts.data()).append(offsets.data()).append(names.text.data()).align(4).data();
}

bytes write_dbi(const pdb_description& description, const pdb_streams& written, const file_names& names,
                const std::vector<std::size_t>& line_sizes) {
    byte_writer modules;
    for (std::size_t i = 0; i < description.modules.size(); ++i) {
        modules.u32(0).zeros(28).u16(0).u16(written.modules[i]).u32(written.symbol_sizes[i]).u32(0);
        modules.u32(line_sizes[i]).u16(files_of(description.modules[i]).size()).zeros(14);
        modules.text(description.modules[i].name).u8(0).text("object").u8(0).align(4);
    }
    const auto sources = description.source_list ? write_source_list(description, names) : bytes();
    byte_writer out;
    out.u32(0xFFFFFFFF).u32(19990903).u32(description.age);
    out.u16(description.references ? written.global_symbols : 0xFFFF).u16(0).u16(0xFFFF).u16(0);
    out.u16(description.references ? written.symbol_records : 0xFFFF).u16(0);
    out.u32(modules.size()).u32(0).u32(0).u32(sources.size()).u32(0).u32(0).u32(22).u32(0).u16(0).u16(0xC0EE).u32(0);
    out.append(modules.data()).append(sources);
    for (unsigned slot = 0; slot < 11; ++slot)
        out.u16(slot == 6 && written.token_map != 0 ? written.token_map : 0xFFFF);
    return out.data();
}

bytes write_file_record(const pdb_file& file) {
    byte_writer out;
    out.guid({1, 1, 1, {}}).guid({2, 2, 2, {}}).guid({3, 3, 3, {}}).guid(file.algorithm);  // language, vendor, kind
    return out.u32(file.checksum.size()).u32(file.source.size()).append(file.checksum).append(file.source).data();
}

}  // namespace

void named_streams_writer::add(std::string_view name, unsigned stream, bool open) {
    ++count_;
    entries_.u32(names_.size()).u32(stream);
    names_.text(name).zeros(open ? 0 : 1);
}

bytes named_streams_writer::table() const {
    byte_writer out;
    out.u32(names_.size()).append(names_.data()).u32(count_).u32(count_ + 1).u32(count_ / 32 + 1);
    out.append(bytes(count_ / 32 * 4, 0xFF)).u32((1u << count_ % 32) - 1);
    return out.u32(0).append(entries_.data()).u32(0).data();
}

bytes write_info(const pdb_description& description, const named_streams_writer& named) {
    byte_writer out;
    out.u32(20000404).u32(pdb_signature).u32(description.info_age).guid(description.guid);
    return out.append(named.table()).data();
}

pdb_streams write_streams(const pdb_description& description) {
    pdb_streams out;
    const auto add = [&out](bytes content) {
        out.streams.push_back(std::move(content));
        return static_cast<unsigned>(out.streams.size() - 1);
    };
    out.streams.resize(names_stream_number + 1, bytes());

    named_streams_writer names;
    names.add("/names", names_stream_number);
    for (const auto& file : description.files) {
        out.files.push_back(file.record ? add(write_file_record(file)) : 0);
        if (file.record) names.add("/src/files/" + classic_reader::fold_path(file.name), out.files.back());
    }
    for (const auto& [name, content] : description.named) names.add(name, add(content));

    const file_names all_names(description.files);
    std::vector<written_procedure> procedures;
    std::vector<std::size_t> line_sizes;
    for (std::size_t i = 0; i < description.modules.size(); ++i) {
        const auto symbols = write_symbols(description.modules[i], i, procedures);
        const auto lines = write_line_sections(description.modules[i], description.files, all_names);
        out.symbol_sizes.push_back(static_cast<std::uint32_t>(symbols.size()));
        line_sizes.push_back(lines.size());
        out.modules.push_back(add(byte_writer().append(symbols).append(lines).u32(0).data()));
    }
    auto [records, table] = write_references(procedures);
    out.symbol_records = add(std::move(records));
    out.global_symbols = add(std::move(table));
    if (!description.token_map.empty()) {
        byte_writer map;
        for (const auto row : description.token_map) map.u32(row);
        out.token_map = add(map.u8(0).data());  // only whole rows count
    }
    const auto& strings = all_names.text.data();
    out[names_stream_number] = byte_writer().u32(0xEFFEEFFE).u32(1).u32(strings.size()).append(strings).zeros(8).data();
    out[dbi_stream_number] = write_dbi(description, out, all_names, line_sizes);
    out[info_stream_number] = write_info(description, names);
    return out;
}

bytes write_pdb(const pdb_description& description) {
    return write_msf(write_streams(description).streams);
}

pdb_description sample_pdb_description() {
    pdb_description pdb;
    pdb.guid = {0x7D3BE11C, 0x9BD2, 0x4CA7, {0xA6, 0x26, 0x1C, 0x82, 0xB9, 0x39, 0x35, 0xA9}};
    pdb.age = 3;
    pdb.info_age = 5;
    pdb.files = {{.name = "C:\\Code\\First.cs", .algorithm = sha1, .checksum = bytes(20, 0xA1)},
                 {.name = "C:\\Code\\Second.cs", .algorithm = sha256, .checksum = bytes(32, 0xB2)}};
    pdb.modules = {
        {.name = "First",
         .methods = {{0x06000001, {{0, {{0, 10, 5, 10, 6}, {1, 11, 9, 12, 20}, hidden_point(7), {9, 13, 5, 13, 6}}}}},
                     {0x06000002, {{0, {{0, 20, 5, 20, 6}}}, {1, {{4, 3, 1, 3, 40}}}}}}},
        {.name = "Second", .methods = {{0x06000004, {{1, {{0, 7, 5, 7, 6}, {2, 9, 5, 9, 6}}}}}}}};
    return pdb;
}

}  // namespace qv::test
