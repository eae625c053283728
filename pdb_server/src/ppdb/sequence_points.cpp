#include "pdb_server/src/ppdb/sequence_points.h"

namespace qv::profiler::pdb_server::detail {

sequence_point_reader::sequence_point_reader(const metadata::detail_metadata::md_region& blob, std::uint32_t document)
    : blob_(blob) {
    read_unsigned();  // the signature of the local variables
    current_.document = document != 0 ? document : read_unsigned();
}

bool sequence_point_reader::next(sequence_point& point) {
    if (!first_ && position_ == blob_.size()) return false;
    read_il_offset();
    read_lines();
    point = current_;
    return true;
}

void sequence_point_reader::read_il_offset() {
    std::uint32_t delta = read_unsigned();
    // From the second record on a delta of zero announces another document.
    while (!first_ && delta == 0) {
        current_.document = read_unsigned();
        delta = read_unsigned();
    }
    current_.il_offset += delta;
    first_ = false;
}

void sequence_point_reader::read_lines() {
    const std::uint32_t lines = read_unsigned();
    const std::uint32_t columns = lines == 0 ? read_unsigned() : read_signed();
    current_.hidden = lines == 0 && columns == 0;
    if (current_.hidden) return;
    // The first visible point has its place, the others have their distance from the visible point before.
    current_.start_line = first_visible_ ? read_unsigned() : current_.start_line + read_signed();
    current_.start_column = first_visible_ ? read_unsigned() : current_.start_column + read_signed();
    current_.end_line = current_.start_line + lines;
    current_.end_column = current_.start_column + columns;
    first_visible_ = false;
}

}  // namespace qv::profiler::pdb_server::detail
