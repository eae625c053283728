// Decodes the sequence points of a method (Portable PDB format, "Sequence Points Blob").
#pragma once

#include <cstdint>

#include "qv/metadata/metadata.h"

namespace qv::profiler::pdb_server {

struct sequence_point {
    std::uint32_t il_offset = 0;
    std::uint32_t document = 0;  // row of the Document table
    bool hidden = false;         // belongs to no source line; the four fields below then mean nothing
    std::uint32_t start_line = 0;
    std::uint32_t start_column = 0;
    std::uint32_t end_line = 0;
    std::uint32_t end_column = 0;
};

namespace detail {

// Walks the records of one blob. All sums wrap at 32 bits.
class sequence_point_reader {
public:
    // Reads the blob's header.
    sequence_point_reader(const metadata::detail_metadata::md_region& blob, std::uint32_t document);

    // Reads the next point; false at the end of the blob. A blob always has a first point: one that ends after its
    // header fails.
    bool next(sequence_point& point);

private:
    std::uint32_t read_unsigned() { return blob_.read_compressed_unsigned(position_); }
    std::uint32_t read_signed() { return blob_.read_compressed_signed(position_); }
    void read_il_offset();
    void read_lines();

    metadata::detail_metadata::md_region blob_;
    std::uint32_t position_ = 0;
    bool first_ = true;          // no point has been read
    bool first_visible_ = true;  // no point with lines has been read
    sequence_point current_;
};

}  // namespace detail

// Calls visit(const sequence_point&) for each sequence point of the method in blob order; the method is given by its
// row. A PDB without debug information for methods has none. Throws what the metadata reader throws.
template <class Visitor>
void for_each_sequence_point(const metadata::detail_metadata::metadata_parser& parser, std::uint32_t method_row,
                             Visitor&& visit) {
    using namespace metadata::detail_metadata;
    const accessor rows(parser);
    if (rows.get_row_count<md_MethodDebugInformation>() == 0) return;
    const auto index = rows.get_field_value<md_MethodDebugInformation, fld_SequencePoints>(method_row);
    const md_region blob = parser.get_stream_data(index);
    if (blob.size() == 0) return;
    const auto document = rows.get_field_value<md_MethodDebugInformation, fld_Document>(method_row);

    detail::sequence_point_reader reader(blob, document.value);
    for (sequence_point point; reader.next(point);) visit(point);
}

}  // namespace qv::profiler::pdb_server
