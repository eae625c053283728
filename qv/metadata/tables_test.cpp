#include <gtest/gtest.h>

#include "qv/metadata/metadata.h"
#include "tests/support/builders/metadata_builder.h"

namespace qv::metadata::detail_metadata {
namespace {

using test::bytes;
using test::metadata_builder;

table_row_counts rows(unsigned table, std::uint32_t count) {
    table_row_counts counts{};
    counts[table] = count;
    return counts;
}

TEST(IndexWidths, EachKindGrowsWithItsTablesAndNoOthers) {
    // How many rows every table may have while indexes of the kind stay narrow.
    struct index_kind {
        index_flag flag;
        std::uint32_t narrow_rows;
        std::set<unsigned> tables;
    };
    std::vector<index_kind> kinds = {
        {idx_TypeDefOrRef, 16383, {0x02, 0x01, 0x1B}},
        {idx_HasConstant, 16383, {0x04, 0x08, 0x17}},
        {idx_HasCustomAttribute, 2047, {0x06, 0x04, 0x01, 0x02, 0x08, 0x09, 0x0A, 0x00, 0x0E, 0x17, 0x14,
                                        0x11, 0x1A, 0x1B, 0x20, 0x23, 0x26, 0x27, 0x28, 0x2A, 0x2C, 0x2B}},
        {idx_HasFieldMarshal, 32767, {0x04, 0x08}},
        {idx_HasDeclSecurity, 16383, {0x02, 0x06, 0x20}},
        {idx_MemberRefParent, 8191, {0x02, 0x01, 0x1A, 0x06, 0x1B}},
        {idx_HasSemantics, 32767, {0x14, 0x17}},
        {idx_MethodDefOrRef, 32767, {0x06, 0x0A}},
        {idx_MemberForwarded, 32767, {0x04, 0x06}},
        {idx_Implementation, 16383, {0x26, 0x23, 0x27}},
        {idx_CustomAttributeType, 8191, {0x06, 0x0A}},
        {idx_ResolutionScope, 16383, {0x00, 0x1A, 0x23, 0x01}},
        {idx_TypeOrMethodDef, 32767, {0x02, 0x06}},
        {idx_HasCustomDebugInformation, 2047, {0x06, 0x04, 0x01, 0x02, 0x08, 0x09, 0x0A, 0x00, 0x0E,
                                               0x17, 0x14, 0x11, 0x1A, 0x1B, 0x20, 0x23, 0x26, 0x27,
                                               0x28, 0x2A, 0x2C, 0x2B, 0x30, 0x32, 0x33, 0x34, 0x35}}};
    const std::pair<index_flag, unsigned> simple_kinds[] = {
        {idx_AssemblyRef, 0x23},  {idx_TypeDef, 0x02},   {idx_Event, 0x14},       {idx_Field, 0x04},
        {idx_GenericParam, 0x2A}, {idx_ModuleRef, 0x1A}, {idx_Param, 0x08},       {idx_MethodDef, 0x06},
        {idx_Property, 0x17},     {idx_Document, 0x30},  {idx_ImportScope, 0x35}, {idx_LocalVariable, 0x33},
        {idx_LocalConstant, 0x34}};
    for (const auto& [flag, table] : simple_kinds) kinds.push_back({flag, 65535, {table}});
    ASSERT_EQ(kinds.size(), std::size_t{index_flags});
    for (const auto& [flag, narrow_rows, tables] : kinds)
        for (unsigned table = 0; table < max_tables; ++table) {
            EXPECT_EQ(make_modes(0, rows(table, narrow_rows)).indexes[flag], 0) << flag;
            EXPECT_EQ(make_modes(0, rows(table, narrow_rows + 1)).indexes[flag], tables.count(table))
                << flag << " " << table;
        }
}

TEST(IndexWidths, ShiftedMaximumHas32Bits) {
    EXPECT_EQ(make_modes(0, rows(0x06, 0x08000000)).indexes[idx_HasCustomAttribute], 0);
}

// Every supported table, and what follows it, is found when all widths are told apart by the builder.
TEST(TablePlaces, EveryTableIsAsWideAsItsColumns) {
    for (const unsigned char heaps : bytes{0, 1, 2, 4, 7}) {
        metadata_builder builder;
        builder.heap_sizes(heaps);
        const std::set<unsigned> unsupported = {0x03, 0x05, 0x07, 0x13, 0x16, 0x2D, 0x2E, 0x2F};
        for (unsigned table = 0; table < 0x37; ++table)
            if (!unsupported.contains(table)) builder.add_rows(table, 1 + table % 3);
        builder.add_row(0x37, {0x1234, 0x2345, 0x3456});
        const bytes block = builder.build();
        const metadata_parser parser(block.size(), block.data());
        const accessor last(parser);
        EXPECT_EQ((last.get_field_value<md_CustomDebugInformation, fld_Parent>(1).value), 0x1234u);
        EXPECT_EQ((last.get_field_value<md_CustomDebugInformation, fld_Kind>(1).index), 0x2345u);
        EXPECT_EQ((last.get_field_value<md_CustomDebugInformation, fld_Value>(1).index), 0x3456u);
    }
}

// The widths follow the image's counts, the rows those that are there.
TEST(TablePlaces, IndexesFollowTheImageOfAPortablePdb) {
    metadata_builder builder;
    builder.pdb({}, 0, {{0x06, 70'000}, {0x2A, 70'000}, {0x30, 70'000}});
    builder.wide_indexes({4, 7, 26});
    builder.add_rows(0x02, 70'000).add_rows(0x0F, 1).add_rows(0x2C, 1).add_rows(0x31, 1);
    builder.add_row(0x32, {70'000, 1, 2, 3}).add_row(0x36, {69'999, 70'000}).add_row(0x37, {0x12345678});
    const bytes block = builder.build();
    const metadata_parser parser(block.size(), block.data());
    const accessor rows_of(parser);
    EXPECT_EQ((rows_of.get_field_value<md_LocalScope, fld_Method>(1).value), 70'000u);
    EXPECT_EQ((rows_of.get_field_value<md_LocalScope, fld_ImportScope>(1).value), 1u);
    EXPECT_EQ((rows_of.get_field_value<md_StateMachineMethod, fld_KickoffMethod>(1).value), 70'000u);
    EXPECT_EQ((rows_of.get_field_value<md_CustomDebugInformation, fld_Parent>(1).value), 0x12345678u);
}

}  // namespace
}  // namespace qv::metadata::detail_metadata
