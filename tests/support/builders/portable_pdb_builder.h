// Builds portable PDBs: documents, sequence points and custom debug information over a metadata_builder.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tests/support/builders/metadata_builder.h"

namespace qv::test {

// One record of a sequence-point blob, as a compiler would note it.
struct point {
    std::uint32_t il_offset;
    std::uint32_t start_line;
    std::uint32_t start_column;
    std::uint32_t end_line;
    std::uint32_t end_column;
};

constexpr std::uint32_t hidden = 0xFEEFEE;

// A point that belongs to no source line.
constexpr point hidden_point(std::uint32_t il_offset) {
    return {il_offset, hidden, 0, hidden, 0};
}

// The records of points that follow each other, without the blob's header.
bytes sequence_point_records(const std::vector<point>& points);

class portable_pdb_builder {
public:
    portable_pdb_builder(const GUID& guid, std::uint32_t stamp) { metadata_.pdb(guid, stamp); }

    // For everything that is not below.
    metadata_builder& metadata() noexcept { return metadata_; }

    // Each returns the row. The path is the only part of its name; a zero algorithm takes no entry in the GUID heap.
    std::uint32_t document(std::string_view path, const GUID& algorithm = {}, const bytes& hash = {});
    std::uint32_t document_with_name(const bytes& name_blob);

    // The next row of MethodDebugInformation.
    std::uint32_t method(std::uint32_t document, const std::vector<point>& points);
    std::uint32_t method_with_blob(std::uint32_t document, const bytes& sequence_points);

    // Custom debug information; a kind of zeros takes no entry in the GUID heap.
    std::uint32_t custom(std::uint32_t parent, const GUID& kind, const bytes& value);
    std::uint32_t source_link(std::string_view json);

    bytes build() const { return metadata_.build(); }

private:
    metadata_builder metadata_;
};

// The Source Link kind, and the coded parent that is the module.
constexpr GUID source_link_kind = {0xCC110556, 0xA091, 0x4D38, {0x9F, 0xEC, 0x25, 0xAB, 0x9A, 0x35, 0x1A, 0x6A}};
constexpr std::uint32_t module_parent = 1 << 5 | 7;

// The hash algorithms that compilers use.
constexpr GUID sha1 = {0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}};
constexpr GUID sha256 = {0x8829d00f, 0x11b8, 0x4213, {0x87, 0x8b, 0x77, 0x0e, 0x85, 0x97, 0xac, 0x16}};

}  // namespace qv::test
