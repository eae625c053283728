// Parses the input as a metadata block and reads every column of some rows of every table, and the heap items that
// these refer to.
#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "fuzz/sample_pdb.h"
#include "qv/metadata/metadata.h"

namespace qv::fuzz {
namespace {

using namespace metadata::detail_metadata;

// Enough rows to meet what the first ones do not show, few enough that one input takes no time.
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

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        const metadata_parser parser(size, data);
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
    });
}

std::vector<bytes> seeds() {
    test::metadata_builder wide = test::image_metadata(sample_mvid, 3);
    wide.heap_sizes(0x47).add_rows(0x02, 2).add_rows(0x0C, 2).add_rows(0x27, 1);
    test::metadata_builder scopes;
    scopes.pdb({}, 0, {{0x06, 70'000}}).wide_indexes({7, 26}).add_rows(0x32, 3).add_rows(0x36, 2).add_rows(0x37, 2);
    return {test::image_metadata(sample_mvid, 3).build(), wide.build(), scopes.build(), sample_pdb().build()};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("metadata_parser", qv::fuzz::run, qv::fuzz::seeds)
