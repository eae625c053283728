// Builds portable PDBs: documents, sequence points and custom debug information over a metadata_builder.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "tests/support/builders/metadata_builder.h"

namespace qv::test {

// The line of points that belong to no source line.
constexpr std::uint32_t hidden = 0xFEEFEE;

// The Source Link kind, and the coded parent that is the module.
constexpr GUID source_link_kind = {0xCC110556, 0xA091, 0x4D38, {0x9F, 0xEC, 0x25, 0xAB, 0x9A, 0x35, 0x1A, 0x6A}};
constexpr std::uint32_t module_parent = 1 << 5 | 7;

// The hash algorithms that compilers use.
constexpr GUID sha1 = {0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}};
constexpr GUID sha256 = {0x8829d00f, 0x11b8, 0x4213, {0x87, 0x8b, 0x77, 0x0e, 0x85, 0x97, 0xac, 0x16}};

class portable_pdb_builder {
public:
    portable_pdb_builder(const GUID& guid, std::uint32_t stamp) { metadata_.pdb(guid, stamp); }

    // For everything that is not below.
    metadata_builder& metadata() noexcept { return metadata_; }

    // The path is the only part of the document's name.
    void document(std::string_view path, const GUID& algorithm = {}, const bytes& hash = {}) {
        const std::uint32_t name = metadata_.blob(byte_writer().u8('/').packed(metadata_.blob(path)).data());
        metadata_.add_row(0x30, {name, optional_guid(algorithm), metadata_.blob(hash)});
    }
    void document_with_name(const bytes& name_blob) { metadata_.add_row(0x30, {metadata_.blob(name_blob)}); }

    // The next row of MethodDebugInformation.
    void method(std::uint32_t document, const bytes& sequence_points) {
        metadata_.add_row(0x31, {document, metadata_.blob(sequence_points)});
    }

    void custom(std::uint32_t parent, const GUID& kind, const bytes& value) {
        metadata_.add_row(0x37, {parent, optional_guid(kind), metadata_.blob(value)});
    }
    void source_link(std::string_view json) { custom(module_parent, source_link_kind, {json.begin(), json.end()}); }

    bytes build() const { return metadata_.build(); }

private:
    // One of zeros takes no entry in the heap.
    std::uint32_t optional_guid(const GUID& value) { return value == GUID{} ? 0 : metadata_.guid(value); }

    metadata_builder metadata_;
};

}  // namespace qv::test
