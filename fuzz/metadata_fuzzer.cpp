// Parses the input as a metadata block, reads some rows of the tables and the heap items that these refer to, and, when
// it is a portable PDB, asks for everything that a client can ask for.
#include <algorithm>
#include <memory>

#include "fuzz/fuzz_target.h"
#include "fuzz/sample_pdb.h"
#include "pdb_server/src/ppdb/document_name.h"
#include "pdb_server/src/ppdb/ppdb_module_data.h"
#include "tests/support/costly_files/costly_files.h"

namespace qv::fuzz {
namespace {

using namespace metadata::detail_metadata;
using namespace profiler::pdb_server;

// Enough rows to meet what the first ones do not show; rows may all refer to one large blob, so that more show nothing.
constexpr std::uint32_t rows_read = 16;

template <class T, class F>
void read_column(const metadata_parser& parser, std::uint32_t row) {
    const auto value = accessor(parser).get_field_value<T, F>(row);
    using value_type = std::remove_const_t<decltype(value)>;
    if constexpr (std::is_same_v<value_type, md_stream<guid_heap>>)
        attempt([&] { parser.get_stream_data(value, true); });
    if constexpr (std::is_same_v<value_type, md_stream<blob_heap>>)
        attempt([&] { parser.get_stream_data(value).read_text_utf8(); });
    if constexpr (std::is_same_v<value_type, md_token<idx_HasCustomDebugInformation>>)
        require(decode(value).table <= 255, "every tag has a table");
}

template <class T, class... Fields>
void read_rows(const metadata_parser& parser) {
    const std::uint32_t count = parser.row_count(T::number);
    require(parser.table(T::number).size() == std::uint64_t{parser.row_size(T::number)} * count,
            "the region holds the rows");
    for (std::uint32_t row = 0; row <= std::min(count, rows_read) + 1; ++row) {
        const bool there = row >= 1 && row <= count;
        const outcome all = attempt([&] { (read_column<T, Fields>(parser, row), ...); });
        require(all == (there ? outcome::accepted : outcome::rejected), "exactly the rows of the table can be read");
    }
}

void read_tables(const metadata_parser& parser) {
    read_rows<md_Module, fld_Name, fld_Mvid, fld_EncId, fld_EncBaseId>(parser);
    read_rows<md_TypeDef, fld_TypeName, fld_Extends, fld_FieldList, fld_MethodList>(parser);
    read_rows<md_MethodDef, fld_Name, fld_Signature, fld_ParamList>(parser);
    read_rows<md_CustomAttribute, fld_Parent, fld_Type, fld_Value>(parser);
    read_rows<md_AssemblyRef, fld_PublicKeyOrToken, fld_Name, fld_HashValue>(parser);
    read_rows<md_ExportedType, fld_TypeDefId, fld_Implementation>(parser);
    read_rows<md_Document, fld_Name, fld_HashAlgorithm, fld_Hash, fld_Language>(parser);
    read_rows<md_MethodDebugInformation, fld_Document, fld_SequencePoints>(parser);
    read_rows<md_LocalScope, fld_Method, fld_ImportScope, fld_VariableList, fld_ConstantList>(parser);
    read_rows<md_StateMachineMethod, fld_MoveNextMethod, fld_KickoffMethod>(parser);
    read_rows<md_CustomDebugInformation, fld_Parent, fld_Kind, fld_Value>(parser);
}

void ask_method(module_data& module, std::uint32_t token, std::size_t size) {
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> ranges[5];
    const outcome first = attempt([&] { module.get_method_offsets(token, offsets); });
    const outcome second =
        attempt([&] { module.get_method_ranges(token, ranges[0], ranges[1], ranges[2], ranges[3], ranges[4]); });
    require(first == second, "offsets and ranges fail together");
    for (const auto& range : ranges) require(range.size() == offsets.size(), "offsets and ranges belong together");
    require(offsets.size() <= size / 3 + 1, "a point takes three bytes at least");
}

void ask_document(module_data& module, std::uint32_t id, std::size_t size) {
    std::wstring url;
    GUID algorithm;
    bytes checksum;
    attempt([&] { module.get_document(id, url, algorithm, checksum); });
    require(url.size() <= max_document_name + 6, "a name has a bound");
    require(checksum.size() <= size, "a checksum is part of the file");
}

void ask_all(std::unique_ptr<const metadata_container> container, std::size_t size) {
    const std::uint32_t methods = std::min(container->parser().row_count(0x31), rows_read);
    const std::uint32_t documents = std::min(container->parser().row_count(0x30), rows_read);
    ppdb_module_data module(GUID{}, std::move(container));
    const std::uint64_t once = std::uint64_t{8} * size + 1000;
    for (std::uint32_t row = 0; row <= methods + 1; ++row)
        require_work_within(once, [&] { ask_method(module, 0x06000000 | row, size); });
    for (std::uint32_t id = 0; id <= documents + 1; ++id)
        require_work_within(once + 4 * max_document_name, [&] { ask_document(module, id, size); });
    bytes source_link;
    require_work_within(once, [&] { attempt([&] { module.get_source_server_data(source_link); }); });
    require(source_link.size() <= size, "Source Link is part of the file");
}

outcome run(const unsigned char* data, std::size_t size) {
    std::unique_ptr<const metadata_container> container;
    require_work_within(std::uint64_t{8} * size + 1000, [&] {
        attempt([&] { container = std::make_unique<const metadata_container>(bytes(data, data + size)); });
    });
    if (container) ask_all(std::move(container), size);
    return attempt([&] { read_tables(metadata_parser(size, data)); });
}

std::vector<bytes> seeds() {
    test::metadata_builder wide = test::image_metadata(sample_mvid, 3);
    wide.heap_sizes(0x47).add_rows(0x02, 2).add_rows(0x0C, 2).add_rows(0x27, 1);
    test::metadata_builder scopes;
    scopes.pdb({}, 0, {{0x06, 70'000}}).wide_indexes({7, 26}).add_rows(0x32, 3).add_rows(0x36, 2).add_rows(0x37, 2);
    test::portable_pdb_builder wide_pdb = sample_pdb();
    wide_pdb.metadata().heap_sizes(7);
    return {test::image_metadata(sample_mvid, 3).build(), wide.build(), scopes.build(), sample_pdb().build(),
            wide_pdb.build()};
}

std::vector<bytes> costly() {
    for (const auto& shape : test::portable_costly_shapes())
        if (shape.name == "HiddenStreamNames") return {shape.make_files(200).pdb};
    return {};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("metadata", qv::fuzz::run, qv::fuzz::seeds, qv::fuzz::costly)
