#include "qv/metadata/declarations.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/exception.h"

namespace qv::metadata::detail_metadata {
namespace {

// Which tables an index kind may point into. A coded index keeps in its low bits which of them it means.
struct index_rule {
    unsigned tag_bits;
    unsigned table_count;
    std::array<unsigned char, 27> tables;
};

template <class... Tables>
constexpr index_rule make_rule(unsigned tag_bits, Tables... tables) {
    return {tag_bits, static_cast<unsigned>(sizeof...(tables)), {static_cast<unsigned char>(tables)...}};
}

// By index_flag. The tables of a coded index stand in tag order where its tags have no gap (ECMA-335 II.24.2.6).
constexpr index_rule index_rules[] = {
    make_rule(0, 0x23),              // AssemblyRef
    make_rule(0, 0x02),              // TypeDef
    make_rule(0, 0x14),              // Event
    make_rule(0, 0x04),              // Field
    make_rule(0, 0x2A),              // GenericParam
    make_rule(0, 0x1A),              // ModuleRef
    make_rule(0, 0x08),              // Param
    make_rule(0, 0x06),              // MethodDef
    make_rule(0, 0x17),              // Property
    make_rule(2, 0x02, 0x01, 0x1B),  // TypeDefOrRef
    make_rule(2, 0x04, 0x08, 0x17),  // HasConstant
    make_rule(5, 0x06, 0x04, 0x01, 0x02, 0x08, 0x09, 0x0A, 0x00, 0x0E, 0x17, 0x14, 0x11, 0x1A, 0x1B, 0x20, 0x23, 0x26,
              0x27, 0x28, 0x2A, 0x2C, 0x2B),     // HasCustomAttribute
    make_rule(1, 0x04, 0x08),                    // HasFieldMarshal
    make_rule(2, 0x02, 0x06, 0x20),              // HasDeclSecurity
    make_rule(3, 0x02, 0x01, 0x1A, 0x06, 0x1B),  // MemberRefParent
    make_rule(1, 0x14, 0x17),                    // HasSemantics
    make_rule(1, 0x06, 0x0A),                    // MethodDefOrRef
    make_rule(1, 0x04, 0x06),                    // MemberForwarded
    make_rule(2, 0x26, 0x23, 0x27),              // Implementation
    make_rule(3, 0x06, 0x0A),                    // CustomAttributeType, tags 2 and 3
    make_rule(2, 0x00, 0x1A, 0x23, 0x01),        // ResolutionScope
    make_rule(1, 0x02, 0x06),                    // TypeOrMethodDef
    make_rule(0, 0x30),                          // Document
    make_rule(0, 0x35),                          // ImportScope
    make_rule(0, 0x33),                          // LocalVariable
    make_rule(0, 0x34),                          // LocalConstant
    make_rule(5, 0x06, 0x04, 0x01, 0x02, 0x08, 0x09, 0x0A, 0x00, 0x0E, 0x17, 0x14, 0x11, 0x1A, 0x1B, 0x20, 0x23, 0x26,
              0x27, 0x28, 0x2A, 0x2C, 0x2B, 0x30, 0x32, 0x33, 0x34, 0x35),  // HasCustomDebugInformation
};
static_assert(std::size(index_rules) == index_flags);
static_assert(index_rules[idx_HasCustomAttribute].table_count == 22);
static_assert(index_rules[idx_HasCustomDebugInformation].table_count == 27);

constexpr bool tables_fit_their_tags() {
    return std::all_of(std::begin(index_rules), std::end(index_rules),
                       [](const index_rule& rule) { return rule.table_count <= 1u << rule.tag_bits; });
}
static_assert(tables_fit_their_tags());

// --- The schemas against the row sizes that the published column lists add up to, all indexes narrow and all wide.

constexpr md_modes narrow_modes{};

constexpr md_modes make_wide_modes() {
    md_modes modes{};
    modes.heaps.fill(1);
    modes.indexes.fill(1);
    return modes;
}
constexpr md_modes wide_modes = make_wide_modes();

struct row_size_check {
    unsigned table;
    std::uint32_t narrow;
    std::uint32_t wide;
};

constexpr row_size_check row_size_checks[] = {
    {0x00, 10, 18}, {0x01, 6, 12},  {0x02, 14, 24}, {0x04, 6, 10}, {0x06, 14, 20}, {0x08, 6, 8},  {0x09, 4, 8},
    {0x0A, 6, 12},  {0x0B, 6, 10},  {0x0C, 6, 12},  {0x0D, 4, 8},  {0x0E, 6, 10},  {0x0F, 8, 10}, {0x10, 6, 8},
    {0x11, 2, 4},   {0x12, 4, 8},   {0x14, 6, 10},  {0x15, 4, 8},  {0x17, 6, 10},  {0x18, 6, 10}, {0x19, 6, 12},
    {0x1A, 2, 4},   {0x1B, 2, 4},   {0x1C, 8, 14},  {0x1D, 6, 8},  {0x1E, 8, 8},   {0x1F, 4, 4},  {0x20, 22, 28},
    {0x21, 4, 4},   {0x22, 12, 12}, {0x23, 20, 28}, {0x24, 6, 8},  {0x25, 14, 16}, {0x26, 8, 12}, {0x27, 12, 20},
    {0x28, 12, 16}, {0x29, 4, 8},   {0x2A, 8, 12},  {0x2B, 4, 8},  {0x2C, 4, 8},   {0x30, 8, 16}, {0x31, 4, 8},
    {0x32, 16, 24}, {0x33, 6, 8},   {0x34, 4, 8},   {0x35, 4, 8},  {0x36, 4, 8},   {0x37, 6, 12},
};

template <std::size_t... I>
constexpr bool schemas_hold(std::index_sequence<I...>) {
    return ((std::tuple_element_t<I, supported_tables>::number == row_size_checks[I].table &&
             std::tuple_element_t<I, supported_tables>::get_row_size(narrow_modes) == row_size_checks[I].narrow &&
             std::tuple_element_t<I, supported_tables>::get_row_size(wide_modes) == row_size_checks[I].wide) &&
            ...);
}
static_assert(std::size(row_size_checks) == supported_table_count);
static_assert(schemas_hold(std::make_index_sequence<supported_table_count>{}));

// The maximum is shifted as an unsigned 32-bit value; counts that lose bits by it fit into no block anyway.
bool needs_wide_index(const index_rule& rule, const table_row_counts& counts) noexcept {
    std::uint32_t most = 0;
    for (unsigned i = 0; i < rule.table_count; ++i) most = std::max(most, counts[rule.tables[i]]);
    return most << rule.tag_bits > 0xFFFF;
}

}  // namespace

md_modes make_modes(unsigned char heap_sizes, const table_row_counts& counts) noexcept {
    md_modes modes{};
    for (unsigned i = 0; i < heap_kinds; ++i) modes.heaps[i] = heap_sizes >> i & 1;
    for (unsigned i = 0; i < index_flags; ++i) modes.indexes[i] = needs_wide_index(index_rules[i], counts) ? 1 : 0;
    return modes;
}

void unknown_index_size(unsigned char) {
    static constexpr throw_site here{
        "unsigned int __cdecl qv::metadata::detail_metadata::get_index_size(const unsigned char)",
        "sharedCommon/Native/Shared/include/qv/metadata/declarations"};
    throw_error("Unknown index size", here);
}

table_row decode(md_token<idx_HasCustomDebugInformation> token) noexcept {
    const index_rule& rule = index_rules[idx_HasCustomDebugInformation];
    const std::uint32_t tag = token.value & ((1u << rule.tag_bits) - 1);
    return {tag < rule.table_count ? rule.tables[tag] : invalid_table, token.value >> rule.tag_bits};
}

}  // namespace qv::metadata::detail_metadata
