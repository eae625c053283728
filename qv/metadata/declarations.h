// The metadata tables as constant data: every table of ECMA-335 II.22 and of the Portable PDB format that the reader
// supports, its columns, and the rules that make index columns 2 or 4 bytes wide (ECMA-335 II.24.2.6).
//
// Tables are types, so a column that a table does not have is a compile-time error. Three places differ from the
// published schemas and are kept because files are read with them everywhere: they are marked "departure".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>

#include "qv/metadata/md_region.h"

namespace qv::metadata::detail_metadata {

constexpr unsigned max_tables = 64;
constexpr unsigned first_pdb_table = 0x30;

// Heap kinds, and the width flag of an index into each.
constexpr unsigned strings_heap = 1;
constexpr unsigned guid_heap = 2;
constexpr unsigned blob_heap = 3;
constexpr unsigned heap_kinds = 3;

// A raw heap index.
template <unsigned HeapKind>
struct md_stream {
    std::uint32_t index;
};

// A raw table index or coded index; IndexFlag says of which kind.
template <unsigned IndexFlag>
struct md_token {
    std::uint32_t value;
};

// The index kinds, numbered as the width flags of md_modes are.
enum index_flag : unsigned {
    idx_AssemblyRef,
    idx_TypeDef,
    idx_Event,
    idx_Field,
    idx_GenericParam,
    idx_ModuleRef,
    idx_Param,
    idx_MethodDef,
    idx_Property,
    idx_TypeDefOrRef,
    idx_HasConstant,
    idx_HasCustomAttribute,
    idx_HasFieldMarshal,
    idx_HasDeclSecurity,
    idx_MemberRefParent,
    idx_HasSemantics,
    idx_MethodDefOrRef,
    idx_MemberForwarded,
    idx_Implementation,
    idx_CustomAttributeType,
    idx_ResolutionScope,
    idx_TypeOrMethodDef,
    idx_Document,
    idx_ImportScope,
    idx_LocalVariable,
    idx_LocalConstant,
    idx_HasCustomDebugInformation,
    index_flags
};
static_assert(index_flags == 27);

// Width flags of one metadata block: 0 for 2 bytes, 1 for 4 bytes.
struct md_modes {
    std::array<unsigned char, heap_kinds> heaps;     // by heap kind - 1
    std::array<unsigned char, index_flags> indexes;  // by index_flag
};

using table_row_counts = std::array<std::uint32_t, max_tables>;

// The index widths that these row counts demand; `heap_sizes` is the byte of the table stream's header.
md_modes make_modes(unsigned char heap_sizes, const table_row_counts& counts) noexcept;

// Throws "Unknown index size".
[[noreturn]] void unknown_index_size(unsigned char flag);

constexpr std::uint32_t get_index_size(unsigned char flag) {
    switch (flag) {
        case 0: return 2;
        case 1: return 4;
        default: unknown_index_size(flag);
    }
}

// --- Columns. get_size is the width in bytes; get_value reads the column at a position of the table's region.

inline std::uint32_t read_index(std::uint32_t size, const md_region& table, std::uint32_t position) {
    return size == 2 ? table.read_value<unsigned short>(position) : table.read_value<unsigned int>(position);
}

template <class Tag, unsigned Width>
struct base_md_field_fixed {
    using tag = Tag;
    static constexpr std::uint32_t get_size(const md_modes&) { return Width; }
};

template <class Tag, unsigned HeapKind, unsigned WidthFlag>
struct base_md_field_idx_stream {
    using tag = Tag;
    static constexpr std::uint32_t get_size(const md_modes& modes) { return get_index_size(modes.heaps[WidthFlag]); }
    static md_stream<HeapKind> get_value(const md_modes& modes, const md_region& table, std::uint32_t position) {
        return {read_index(get_size(modes), table, position)};
    }
};

template <class Tag, unsigned WidthFlag>
struct base_md_field_idx_token {
    using tag = Tag;
    static constexpr std::uint32_t get_size(const md_modes& modes) { return get_index_size(modes.indexes[WidthFlag]); }
    static md_token<WidthFlag> get_value(const md_modes& modes, const md_region& table, std::uint32_t position) {
        return {read_index(get_size(modes), table, position)};
    }
};

struct fld_unnamed;  // a column that is never asked for

template <unsigned Width>
using fixed = base_md_field_fixed<fld_unnamed, Width>;
template <class Tag>
using string_index = base_md_field_idx_stream<Tag, strings_heap, strings_heap - 1>;
template <class Tag>
using guid_index = base_md_field_idx_stream<Tag, guid_heap, guid_heap - 1>;
template <class Tag>
using blob_index = base_md_field_idx_stream<Tag, blob_heap, blob_heap - 1>;
template <class Tag, index_flag Flag>
using token_index = base_md_field_idx_token<Tag, Flag>;

// --- Tables.

template <class F, class... Columns>
constexpr std::size_t count_columns = (std::size_t{0} + ... + (std::is_same_v<F, typename Columns::tag> ? 1 : 0));

template <unsigned Number, class... Columns>
struct md_table {
    static constexpr unsigned number = Number;

    static constexpr std::uint32_t get_row_size(const md_modes& modes) {
        return (std::uint32_t{0} + ... + Columns::get_size(modes));
    }

    // The position of the column tagged F among the columns.
    template <class F>
    static constexpr std::size_t get_ordinal() {
        static_assert(count_columns<F, Columns...> == 1, "the table has no such column, or several");
        std::size_t ordinal = 0;
        bool found = false;
        ((found = found || std::is_same_v<F, typename Columns::tag>, ordinal += found ? 0 : 1), ...);
        return ordinal;
    }

    template <class F>
    using column = std::tuple_element_t<get_ordinal<F>(), std::tuple<Columns...>>;

    // Sum of the widths of the columns before the one tagged F.
    template <class F>
    static constexpr std::uint32_t get_offset(const md_modes& modes) {
        constexpr std::size_t ordinal = get_ordinal<F>();
        std::uint32_t offset = 0;
        std::size_t i = 0;
        ((offset += i++ < ordinal ? Columns::get_size(modes) : 0), ...);
        return offset;
    }
};

struct fld_Association;
struct fld_Class;
struct fld_ConstantList;
struct fld_Constraint;
struct fld_Culture;
struct fld_Document;
struct fld_EnclosingClass;
struct fld_EncBaseId;
struct fld_EncId;
struct fld_EventList;
struct fld_EventType;
struct fld_Extends;
struct fld_Field;
struct fld_FieldList;
struct fld_Hash;
struct fld_HashAlgorithm;
struct fld_HashValue;
struct fld_Implementation;
struct fld_ImportName;
struct fld_Imports;
struct fld_ImportScope;
struct fld_Instantiation;
struct fld_Interface;
struct fld_Kind;
struct fld_KickoffMethod;
struct fld_Language;
struct fld_MemberForwarded;
struct fld_Method;
struct fld_MethodBody;
struct fld_MethodDeclaration;
struct fld_MethodList;
struct fld_MoveNextMethod;
struct fld_Mvid;
struct fld_Name;
struct fld_NativeType;
struct fld_NestedClass;
struct fld_Owner;
struct fld_ParamList;
struct fld_Parent;
struct fld_PermissionSet;
struct fld_PropertyList;
struct fld_PublicKey;
struct fld_PublicKeyOrToken;
struct fld_ResolutionScope;
struct fld_SequencePoints;
struct fld_Signature;
struct fld_Type;
struct fld_TypeDefId;
struct fld_TypeName;
struct fld_TypeNamespace;
struct fld_Value;
struct fld_VariableList;

// ECMA-335 II.22.30
struct md_Module : md_table<0x00, fixed<2>, string_index<fld_Name>, guid_index<fld_Mvid>, guid_index<fld_EncId>,
                            guid_index<fld_EncBaseId>> {};
// II.22.38
struct md_TypeRef : md_table<0x01, token_index<fld_ResolutionScope, idx_ResolutionScope>, string_index<fld_TypeName>,
                             string_index<fld_TypeNamespace>> {};
// II.22.37. Departure: the two lists are as wide as an index into the GUID heap.
struct md_TypeDef
    : md_table<0x02, fixed<4>, string_index<fld_TypeName>, string_index<fld_TypeNamespace>,
               token_index<fld_Extends, idx_TypeDefOrRef>, guid_index<fld_FieldList>, guid_index<fld_MethodList>> {};
// II.22.15
struct md_Field : md_table<0x04, fixed<2>, string_index<fld_Name>, blob_index<fld_Signature>> {};
// II.22.26
struct md_MethodDef : md_table<0x06, fixed<8>, string_index<fld_Name>, blob_index<fld_Signature>,
                               token_index<fld_ParamList, idx_Param>> {};
// II.22.33
struct md_Param : md_table<0x08, fixed<4>, string_index<fld_Name>> {};
// II.22.23
struct md_InterfaceImpl
    : md_table<0x09, token_index<fld_Class, idx_TypeDef>, token_index<fld_Interface, idx_TypeDefOrRef>> {};
// II.22.25
struct md_MemberRef
    : md_table<0x0A, token_index<fld_Class, idx_MemberRefParent>, string_index<fld_Name>, blob_index<fld_Signature>> {};
// II.22.9
struct md_Constant : md_table<0x0B, fixed<2>, token_index<fld_Parent, idx_HasConstant>, blob_index<fld_Value>> {};
// II.22.10
struct md_CustomAttribute : md_table<0x0C, token_index<fld_Parent, idx_HasCustomAttribute>,
                                     token_index<fld_Type, idx_CustomAttributeType>, blob_index<fld_Value>> {};
// II.22.17
struct md_FieldMarshal : md_table<0x0D, token_index<fld_Parent, idx_HasFieldMarshal>, blob_index<fld_NativeType>> {};
// II.22.11
struct md_DeclSecurity
    : md_table<0x0E, fixed<2>, token_index<fld_Parent, idx_HasDeclSecurity>, blob_index<fld_PermissionSet>> {};
// II.22.8
struct md_ClassLayout : md_table<0x0F, fixed<6>, token_index<fld_Parent, idx_TypeDef>> {};
// II.22.16
struct md_FieldLayout : md_table<0x10, fixed<4>, token_index<fld_Field, idx_Field>> {};
// II.22.36
struct md_StandAloneSig : md_table<0x11, blob_index<fld_Signature>> {};
// II.22.12
struct md_EventMap : md_table<0x12, token_index<fld_Parent, idx_TypeDef>, token_index<fld_EventList, idx_Event>> {};
// II.22.13
struct md_Event : md_table<0x14, fixed<2>, string_index<fld_Name>, token_index<fld_EventType, idx_TypeDefOrRef>> {};
// II.22.35
struct md_PropertyMap
    : md_table<0x15, token_index<fld_Parent, idx_TypeDef>, token_index<fld_PropertyList, idx_Property>> {};
// II.22.34
struct md_Property : md_table<0x17, fixed<2>, string_index<fld_Name>, blob_index<fld_Type>> {};
// II.22.28
struct md_MethodSemantics
    : md_table<0x18, fixed<2>, token_index<fld_Method, idx_MethodDef>, token_index<fld_Association, idx_HasSemantics>> {
};
// II.22.27
struct md_MethodImpl
    : md_table<0x19, token_index<fld_Class, idx_TypeDef>, token_index<fld_MethodBody, idx_MethodDefOrRef>,
               token_index<fld_MethodDeclaration, idx_MethodDefOrRef>> {};
// II.22.31
struct md_ModuleRef : md_table<0x1A, string_index<fld_Name>> {};
// II.22.39
struct md_TypeSpec : md_table<0x1B, blob_index<fld_Signature>> {};
// II.22.22
struct md_ImplMap : md_table<0x1C, fixed<2>, token_index<fld_MemberForwarded, idx_MemberForwarded>,
                             string_index<fld_ImportName>, token_index<fld_ImportScope, idx_ModuleRef>> {};
// II.22.18
struct md_FieldRVA : md_table<0x1D, fixed<4>, token_index<fld_Field, idx_Field>> {};
// Edit-and-continue log and map, as the runtime writes them.
struct md_EncLog : md_table<0x1E, fixed<8>> {};
struct md_EncMap : md_table<0x1F, fixed<4>> {};
// II.22.2
struct md_Assembly
    : md_table<0x20, fixed<16>, blob_index<fld_PublicKey>, string_index<fld_Name>, string_index<fld_Culture>> {};
// II.22.4
struct md_AssemblyProcessor : md_table<0x21, fixed<4>> {};
// II.22.3
struct md_AssemblyOS : md_table<0x22, fixed<12>> {};
// II.22.5
struct md_AssemblyRef : md_table<0x23, fixed<12>, blob_index<fld_PublicKeyOrToken>, string_index<fld_Name>,
                                 string_index<fld_Culture>, blob_index<fld_HashValue>> {};
// II.22.7
struct md_AssemblyRefProcessor : md_table<0x24, fixed<4>, token_index<fld_unnamed, idx_AssemblyRef>> {};
// II.22.6
struct md_AssemblyRefOS : md_table<0x25, fixed<12>, token_index<fld_unnamed, idx_AssemblyRef>> {};
// II.22.19
struct md_File : md_table<0x26, fixed<4>, string_index<fld_Name>, blob_index<fld_HashValue>> {};
// II.22.14. Departure: the TypeDef id is as wide as an index into the TypeDef table of this block.
struct md_ExportedType
    : md_table<0x27, fixed<4>, token_index<fld_TypeDefId, idx_TypeDef>, string_index<fld_TypeName>,
               string_index<fld_TypeNamespace>, token_index<fld_Implementation, idx_Implementation>> {};
// II.22.24
struct md_ManifestResource
    : md_table<0x28, fixed<8>, string_index<fld_Name>, token_index<fld_Implementation, idx_Implementation>> {};
// II.22.32
struct md_NestedClass
    : md_table<0x29, token_index<fld_NestedClass, idx_TypeDef>, token_index<fld_EnclosingClass, idx_TypeDef>> {};
// II.22.20
struct md_GenericParam : md_table<0x2A, fixed<4>, token_index<fld_Owner, idx_TypeOrMethodDef>, string_index<fld_Name>> {
};
// II.22.29
struct md_MethodSpec : md_table<0x2B, token_index<fld_Method, idx_MethodDefOrRef>, blob_index<fld_Instantiation>> {};
// II.22.21
struct md_GenericParamConstraint
    : md_table<0x2C, token_index<fld_Owner, idx_GenericParam>, token_index<fld_Constraint, idx_TypeDefOrRef>> {};

// Portable PDB format, in the order of its section "Metadata tables".
struct md_Document : md_table<0x30, blob_index<fld_Name>, guid_index<fld_HashAlgorithm>, blob_index<fld_Hash>,
                              guid_index<fld_Language>> {};
struct md_MethodDebugInformation
    : md_table<0x31, token_index<fld_Document, idx_Document>, blob_index<fld_SequencePoints>> {};
struct md_LocalScope
    : md_table<0x32, token_index<fld_Method, idx_MethodDef>, token_index<fld_ImportScope, idx_ImportScope>,
               token_index<fld_VariableList, idx_LocalVariable>, token_index<fld_ConstantList, idx_LocalConstant>,
               fixed<8>> {};
struct md_LocalVariable : md_table<0x33, fixed<4>, string_index<fld_Name>> {};
struct md_LocalConstant : md_table<0x34, string_index<fld_Name>, blob_index<fld_Signature>> {};
struct md_ImportScope : md_table<0x35, token_index<fld_Parent, idx_ImportScope>, blob_index<fld_Imports>> {};
struct md_StateMachineMethod
    : md_table<0x36, token_index<fld_MoveNextMethod, idx_MethodDef>, token_index<fld_KickoffMethod, idx_MethodDef>> {};
struct md_CustomDebugInformation : md_table<0x37, token_index<fld_Parent, idx_HasCustomDebugInformation>,
                                            guid_index<fld_Kind>, blob_index<fld_Value>> {};

// The supported tables in number order, which is the order of their rows in the table stream. Departure: the pointer
// tables FieldPtr, MethodPtr, ParamPtr, EventPtr and PropertyPtr of uncompressed metadata are not among them.
using supported_tables =
    std::tuple<md_Module, md_TypeRef, md_TypeDef, md_Field, md_MethodDef, md_Param, md_InterfaceImpl, md_MemberRef,
               md_Constant, md_CustomAttribute, md_FieldMarshal, md_DeclSecurity, md_ClassLayout, md_FieldLayout,
               md_StandAloneSig, md_EventMap, md_Event, md_PropertyMap, md_Property, md_MethodSemantics, md_MethodImpl,
               md_ModuleRef, md_TypeSpec, md_ImplMap, md_FieldRVA, md_EncLog, md_EncMap, md_Assembly,
               md_AssemblyProcessor, md_AssemblyOS, md_AssemblyRef, md_AssemblyRefProcessor, md_AssemblyRefOS, md_File,
               md_ExportedType, md_ManifestResource, md_NestedClass, md_GenericParam, md_MethodSpec,
               md_GenericParamConstraint, md_Document, md_MethodDebugInformation, md_LocalScope, md_LocalVariable,
               md_LocalConstant, md_ImportScope, md_StateMachineMethod, md_CustomDebugInformation>;

constexpr std::size_t supported_table_count = std::tuple_size_v<supported_tables>;

// A reference to a row of any table.
struct table_row {
    unsigned table;  // invalid_table for a tag that the format does not define
    std::uint32_t row;
};
constexpr unsigned invalid_table = 255;

table_row decode(md_token<idx_HasCustomDebugInformation> token) noexcept;

}  // namespace qv::metadata::detail_metadata
