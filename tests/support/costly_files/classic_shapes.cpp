#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/costly_files/costly_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::test {
namespace {

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

costly_files with_image(const pdb_streams& pdb) {
    const pdb_description description = one_method();
    const auto record = codeview_data(description.guid, description.age, costly_pdb_name);
    pe_builder image;
    image.metadata(image_metadata(costly_mvid, 4).build()).debug_entry(2, 0, 1, record);
    return {image.build().data, write_msf(pdb.streams)};
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
costly_files suffix_names(std::size_t names) {
    auto pdb = write_streams(one_method());
    named_streams_writer named;
    named.add("/names", names_stream_number);
    for (std::size_t i = 0; i < names; ++i) named.add("/src/files/", pdb.files[0], i + 1 < names);
    pdb[info_stream_number] = write_info(one_method(), named);
    return with_image(pdb);
}

// Modules that all name the stream of the first, whose lines have three empty sections for each of them.
costly_files modules_of_one_stream(std::size_t modules) {
    auto pdb = without_source_list();
    byte_writer sections;
    for (std::size_t i = 0; i < 3 * modules; ++i) sections.u32(kind_lines).u32(12).zeros(12);
    begin_lines_with(pdb, sections.data());
    bytes& dbi = pdb[dbi_stream_number];
    const std::size_t list_size = dbi[module_list_size_field];
    const auto begin = dbi.begin() + dbi_header_size, end = begin + static_cast<std::ptrdiff_t>(list_size);
    byte_writer changed;
    changed.append({dbi.begin(), begin});
    for (std::size_t i = 0; i < modules; ++i) changed.append({begin, end});
    dbi = changed.append({end, dbi.end()}).data();
    poke(dbi, module_list_size_field, modules * list_size, 4);
    return with_image(pdb);
}

// File table entries, each on the name of the one before without its first letter.
costly_files overlapping_files(std::size_t files) {
    std::vector<std::size_t> names(files);
    for (std::size_t i = 0; i < files; ++i) names[i] = 1 + i;
    auto pdb = without_source_list();
    list_files(pdb, byte_writer().u8(0).append(bytes(2 * files, 'x')).u8(0).data(), names);
    return with_image(pdb);
}

// File table entries on one long name without an end.
costly_files files_of_one_name(std::size_t files) {
    auto pdb = without_source_list();
    list_files(pdb, byte_writer().u8(0).append(bytes(8 * files, 'x')).data(), std::vector<std::size_t>(files, 1));
    return with_image(pdb);
}

// One block of one line after another, each in the next of the files.
costly_files with_blocks(pdb_description pdb, std::size_t blocks) {
    auto& lines = pdb.modules[0].methods[0].lines;
    lines.clear();
    for (std::uint32_t i = 0; i < blocks; ++i)
        lines.push_back({static_cast<unsigned>(i % pdb.files.size()), {{i, i + 1, 0, i + 1, 0}}});
    return with_image(write_streams(pdb));
}

// What many "#line" directives leave, in documents of the longest names there are: nothing is wrong with this one.
costly_files alternating_documents(std::size_t blocks) {
    pdb_description pdb = one_method();
    for (auto& file : pdb.files) file.name.append(0x7FF0 - file.name.size(), file.name[8]);
    return with_blocks(std::move(pdb), blocks);
}

// Documents of one method whose checksums only the file table has: nothing wrong here, either.
costly_files documents_without_records(std::size_t documents) {
    pdb_description pdb = one_method();
    pdb.files.clear();
    for (std::size_t i = 0; i < documents; ++i)
        pdb.files.push_back({.name = "C:\\Code\\" + std::to_string(i) + ".cs",
                             .record = false,
                             .table_checksum_kind = 1,
                             .table_checksum = bytes(16, 7)});
    return with_blocks(std::move(pdb), documents);
}

// Numbered Source Link streams that are all one stream.
costly_files numbered_source_links(std::size_t streams) {
    pdb_description description = one_method();
    description.named = {{"sourcelink", bytes(100'000, ' ')}};
    auto pdb = write_streams(description);
    const auto document = pdb.modules[0] - 1;
    named_streams_writer named;
    named.add("/names", names_stream_number);
    for (std::size_t i = 1; i <= streams; ++i) named.add("sourcelink$" + std::to_string(i), document);
    pdb[info_stream_number] = write_info(description, named);
    return with_image(pdb);
}

// Rows that are all merged into the one method, and a symbol hash of which every other bucket holds everything.
costly_files merged_methods(std::size_t rows) {
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
    return with_image(pdb);
}

}  // namespace

std::vector<costly_shape> classic_costly_shapes() {
    return {{"SuffixNames", 36'000, suffix_names},
            {"ModulesOfOneStream", 12'000, modules_of_one_stream},
            {"OverlappingFiles", 60'000, overlapping_files},
            {"FilesOfOneName", 60'000, files_of_one_name},
            {"AlternatingDocuments", 80'000, alternating_documents},
            {"DocumentsWithoutRecords", 8'000, documents_without_records},
            {"NumberedSourceLinks", 20'000, numbered_source_links},
            {"MergedMethods", 60'000, merged_methods}};
}

}  // namespace qv::test
