#include "pdb_server/src/ppdb/sequence_points.h"

#include <algorithm>
#include <cstddef>

namespace qv::profiler::pdb_server::detail {

using namespace metadata::detail_metadata;

sequence_point_reader::sequence_point_reader(const metadata_parser& parser, std::uint32_t method_row) {
    const accessor rows(parser);
    if (rows.get_row_count<md_MethodDebugInformation>() == 0) return;
    blob_ = parser.get_stream_data(rows.get_field_value<md_MethodDebugInformation, fld_SequencePoints>(method_row));
    if (blob_.size() == 0) return;
    const md_region& heap = parser.blobs();
    heap_size_ = heap.data() + heap.size() - blob_.data();
    document_ = rows.get_field_value<md_MethodDebugInformation, fld_Document>(method_row).value;
    blob_.read_compressed_unsigned(position_);  // the signature of the local variables
    if (document_ == 0) document_ = blob_.read_compressed_unsigned(position_);
}

sequence_point_record sequence_point_reader::read() {
    const auto read_unsigned = [this] { return blob_.read_compressed_unsigned(position_); };
    const auto read_signed = [this] { return blob_.read_compressed_signed(position_); };
    sequence_point_record record = {read_unsigned(), 0, 0, 0, 0};
    // From the second record on a delta of zero announces another document.
    while (!is_first_ && record.il_offset == 0) {
        document_ = read_unsigned();
        record.il_offset = read_unsigned();
    }
    is_first_ = false;
    record.lines = read_unsigned();
    record.columns = record.lines == 0 ? read_unsigned() : read_signed();
    if (record.hidden()) return record;
    // The first visible point has its place, the others have their distance from the visible point before.
    record.start_line = is_first_visible_ ? read_unsigned() : read_signed();
    record.start_column = is_first_visible_ ? read_unsigned() : read_signed();
    is_first_visible_ = false;
    return record;
}

std::span<const unsigned char> sequence_point_reader::short_starts() const noexcept {
    const std::ptrdiff_t begin = position_;
    const auto end = std::min(std::ptrdiff_t{blob_.size()} - short_visible_size, heap_size_ - loaded_size) + 1;
    const auto count = is_first_visible_ ? 0 : std::max(end - begin, std::ptrdiff_t{0});
    return blob_.rest(position_).first(static_cast<std::size_t>(count));
}

}  // namespace qv::profiler::pdb_server::detail
