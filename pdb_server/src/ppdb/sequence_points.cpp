#include "pdb_server/src/ppdb/sequence_points.h"

namespace qv::profiler::pdb_server::detail {

sequence_point_state begin_sequence_points(const md_region& blob, std::uint32_t document) {
    sequence_point_state state;
    blob.read_compressed_unsigned(state.position);  // the signature of the local variables
    state.document = document != 0 ? document : blob.read_compressed_unsigned(state.position);
    return state;
}

read_record read_sequence_point(const md_region& blob, sequence_point_state state) {
    const auto read_unsigned = [&] { return blob.read_compressed_unsigned(state.position); };
    const auto read_signed = [&] { return blob.read_compressed_signed(state.position); };
    sequence_point_record record = {read_unsigned(), 0, 0, 0, 0};
    // From the second record on a delta of zero announces another document.
    while (!state.first && record.il_offset == 0) {
        state.document = read_unsigned();
        record.il_offset = read_unsigned();
    }
    state.first = false;
    record.lines = read_unsigned();
    record.columns = record.lines == 0 ? read_unsigned() : read_signed();
    if (record.hidden()) return {state, record};
    // The first visible point has its place, the others have their distance from the visible point before.
    record.start_line = state.first_visible ? read_unsigned() : read_signed();
    record.start_column = state.first_visible ? read_unsigned() : read_signed();
    state.first_visible = false;
    return {state, record};
}

}  // namespace qv::profiler::pdb_server::detail
