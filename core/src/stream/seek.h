// The seek rule that both memory streams share.
#pragma once

#include "core/src/stream/ISeekStream.h"

namespace qv::detail {

// Whose failure it is: the signature, the source and the lines of the three checks.
struct seek_site {
    const char* function;
    const char* source;
    unsigned unknown_origin_line;
    unsigned negative_offset_line;
    unsigned too_large_offset_line;
};

// The new position; throws "Unknown origin", "Negative offset" or "Too large offset".
std::uint64_t seek_position(SeekOrigin origin, std::int64_t offset, std::uint64_t position, std::uint64_t size,
                            const seek_site& site);

}  // namespace qv::detail
