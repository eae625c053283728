// The seek rule that all streams with a position share.
#pragma once

#include "core/src/stream/ISeekStream.h"
#include "qv/diagnostics/exception.h"

namespace qv::detail {

// Where each of the three checks fails.
struct seek_faults {
    throw_location unknown_origin;
    throw_location negative_offset;
    throw_location too_large_offset;
};

// The new position; throws qv::exception.
std::uint64_t seek_position(SeekOrigin origin, std::int64_t offset, std::uint64_t position, std::uint64_t size,
                            const seek_faults& faults);

}  // namespace qv::detail
