#include <algorithm>

#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/costly_files/costly_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::test {
namespace {

constexpr std::size_t info_header_size = 28;
constexpr std::size_t dbi_header_size = 64;
constexpr std::size_t module_list_size_field = 24;
constexpr std::size_t module_lines_size_field = 44;
constexpr std::uint32_t kind_lines = 0xF2;
constexpr std::uint32_t kind_files = 0xF4;

// One method, 0x06000001, in one module without columns.
pdb_description one_method() {
    pdb_description pdb = sample_pdb_description();
    pdb.modules.resize(1);
    pdb.modules[0].methods.resize(1);
    pdb.modules[0].columns = false;
    return pdb;
}

costly_files with_image(const std::string& name, const pdb_streams& pdb) {
    const pdb_description description = one_method();
    pe_builder image;
    image.metadata(image_metadata(costly_mvid(name), 4).build());
    image.debug_entry(2, 0, 1, codeview_data(description.guid, description.age, costly_pdb_name(name)));
    return {image.build().data, write_msf(pdb.streams)};
}

struct stream_name {
    std::size_t offset;  // in the name buffer
    unsigned stream;
};

// Gives the streams other names.
void name_streams(pdb_streams& pdb, const bytes& buffer, const std::vector<stream_name>& names) {
    bytes& info = pdb[info_stream_number];
    byte_writer out;
    out.append(bytes(info.begin(), info.begin() + info_header_size)).u32(buffer.size()).append(buffer);
    out.u32(names.size()).u32(names.size() + 1).u32(names.size() / 32 + 1);
    for (std::size_t i = 0; i < names.size() / 32; ++i) out.u32(0xFFFFFFFF);
    out.u32((1u << names.size() % 32) - 1).u32(0);
    for (const auto& [offset, stream] : names) out.u32(offset).u32(stream);
    info = out.u32(0).data();
}

// Lets the first module's line information begin with these subsections.
void begin_lines_with(pdb_streams& pdb, const bytes& subsections) {
    bytes& module = pdb[pdb.modules[0]];
    const auto lines = module.size() - pdb.symbol_sizes[0] - 4;
    module.insert(module.begin() + static_cast<std::ptrdiff_t>(pdb.symbol_sizes[0]), subsections.begin(),
                  subsections.end());
    poke(pdb[dbi_stream_number], dbi_header_size + module_lines_size_field, lines + subsections.size(), 4);
}

// Entries of the first module's file table, and the string table that they name.
void list_files(pdb_streams& pdb, const bytes& strings, const std::vector<std::size_t>& names) {
    byte_writer table;
    table.u32(kind_files).u32(8 * names.size());
    for (const auto name : names) table.u32(name).u32(0);
    begin_lines_with(pdb, table.data());
    pdb[names_stream_number] = byte_writer().u32(0xEFFEEFFE).u32(1).u32(strings.size()).append(strings).data();
}

pdb_streams without_source_list() {
    pdb_description pdb = one_method();
    pdb.source_list = false;
    return write_streams(pdb);
}

// Names of records, each the end of the one before.
costly_files suffix_names(const std::string& name, std::size_t names) {
    byte_writer buffer;
    buffer.text("/names").u8(0);
    std::vector<stream_name> entries = {{0, names_stream_number}};
    auto pdb = write_streams(one_method());
    for (std::size_t i = 0; i < names; ++i) {
        entries.push_back({buffer.size(), pdb.files[0]});
        buffer.text("/src/files/");
    }
    name_streams(pdb, buffer.u8(0).data(), entries);
    return with_image(name, pdb);
}

// Modules that all name the stream of the first, whose lines have three empty sections for each of them.
costly_files modules_of_one_stream(const std::string& name, std::size_t modules) {
    auto pdb = without_source_list();
    byte_writer sections;
    for (std::size_t i = 0; i < 3 * modules; ++i) sections.u32(kind_lines).u32(12).zeros(12);
    begin_lines_with(pdb, sections.data());
    bytes& dbi = pdb[dbi_stream_number];
    const auto list = dbi.begin() + dbi_header_size;
    const bytes module(list, list + dbi[module_list_size_field]);
    byte_writer list_of_all;
    for (std::size_t i = 0; i < modules; ++i) list_of_all.append(module);
    dbi.erase(list, list + dbi[module_list_size_field]);
    dbi.insert(dbi.begin() + dbi_header_size, list_of_all.data().begin(), list_of_all.data().end());
    poke(dbi, module_list_size_field, list_of_all.size(), 4);
    return with_image(name, pdb);
}

// File table entries, each on the name of the one before without its first letter.
costly_files overlapping_files(const std::string& name, std::size_t files) {
    std::vector<std::size_t> names(files);
    for (std::size_t i = 0; i < files; ++i) names[i] = 1 + i;
    auto pdb = without_source_list();
    list_files(pdb, byte_writer().u8(0).append(bytes(2 * files, 'x')).u8(0).data(), names);
    return with_image(name, pdb);
}

// File table entries on one long name without an end.
costly_files files_of_one_name(const std::string& name, std::size_t files) {
    auto pdb = without_source_list();
    list_files(pdb, byte_writer().u8(0).append(bytes(8 * files, 'x')).data(), std::vector<std::size_t>(files, 1));
    return with_image(name, pdb);
}

// One block of one line after another, each in the next of the files.
void write_blocks(pdb_description& pdb, std::size_t blocks) {
    auto& lines = pdb.modules[0].methods[0].lines;
    lines.clear();
    for (std::uint32_t i = 0; i < blocks; ++i)
        lines.push_back({static_cast<unsigned>(i % pdb.files.size()), {{i, i + 1, 0, i + 1, 0}}});
}

// What many "#line" directives leave: nothing is wrong with this one.
costly_files many_blocks(const std::string& name, std::size_t blocks) {
    pdb_description pdb = one_method();
    write_blocks(pdb, blocks);
    return with_image(name, write_streams(pdb));
}

// The same in documents of the longest names there are.
costly_files alternating_documents(const std::string& name, std::size_t blocks) {
    pdb_description pdb = one_method();
    for (auto& file : pdb.files) file.name.append(0x7FF0 - file.name.size(), file.name[8]);
    write_blocks(pdb, blocks);
    return with_image(name, write_streams(pdb));
}

// Documents of one method whose checksums only the file table has: nothing wrong here, either.
costly_files documents_without_records(const std::string& name, std::size_t documents) {
    pdb_description pdb = one_method();
    pdb.files.clear();
    for (std::size_t i = 0; i < documents; ++i)
        pdb.files.push_back({.name = "C:\\Code\\" + std::to_string(i) + ".cs",
                             .record = false,
                             .table_checksum_kind = 1,
                             .table_checksum = bytes(16, 7)});
    write_blocks(pdb, documents);
    return with_image(name, write_streams(pdb));
}

// Numbered Source Link streams that are all one stream.
costly_files numbered_source_links(const std::string& name, std::size_t streams) {
    pdb_description description = one_method();
    description.named = {{"sourcelink", bytes(100'000, ' ')}};
    auto pdb = write_streams(description);
    const auto document = static_cast<unsigned>(pdb.modules[0] - 1);
    byte_writer buffer;
    buffer.text("/names").u8(0);
    std::vector<stream_name> entries = {{0, names_stream_number}};
    for (std::size_t i = 1; i <= streams; ++i) {
        entries.push_back({buffer.size(), document});
        buffer.text("sourcelink$" + std::to_string(i)).u8(0);
    }
    name_streams(pdb, buffer.data(), entries);
    return with_image(name, pdb);
}

// Rows that are all merged into the one method, and a symbol hash of which every other bucket holds everything.
costly_files merged_methods(const std::string& name, std::size_t rows) {
    constexpr std::size_t buckets = 4096;
    pdb_description description = one_method();
    description.token_map.assign(rows, 1);
    auto pdb = write_streams(description);
    byte_writer table;
    table.u32(0xFFFFFFFF).u32(0xF12F091A).u32(8 * rows).u32(516 + 4 * buckets);
    for (std::size_t i = 0; i < rows; ++i) table.u32(1).u32(1);
    table.append(bytes(buckets / 8, 0xFF)).u32(0);
    for (std::size_t i = 0; i < buckets; ++i) table.u32(i % 2 == 0 ? 0 : rows * 12);
    pdb[pdb.global_symbols] = table.data();
    poke(pdb[pdb.symbol_records], 14, '!', 1);
    return with_image(name, pdb);
}

}  // namespace

std::vector<costly_shape> classic_costly_shapes() {
    return {{"SuffixNames", 36'000, suffix_names},
            {"ModulesOfOneStream", 12'000, modules_of_one_stream},
            {"OverlappingFiles", 60'000, overlapping_files},
            {"FilesOfOneName", 60'000, files_of_one_name},
            {"ManyBlocks", 80'000, many_blocks},
            {"AlternatingDocuments", 80'000, alternating_documents},
            {"DocumentsWithoutRecords", 8'000, documents_without_records},
            {"NumberedSourceLinks", 20'000, numbered_source_links},
            {"MergedMethods", 60'000, merged_methods}};
}

}  // namespace qv::test
