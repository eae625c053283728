#include "core/src/stream/seek.h"

namespace qv::detail {
namespace {

std::uint64_t base_of(SeekOrigin origin, std::uint64_t position, std::uint64_t size, const seek_faults& faults) {
    switch (origin) {
        case SeekOrigin::Begin: return 0;
        case SeekOrigin::Current: return position;
        case SeekOrigin::End: return size;
    }
    throw_error("Unknown origin", faults.unknown_origin);
}

}  // namespace

std::uint64_t seek_position(SeekOrigin origin, std::int64_t offset, std::uint64_t position, std::uint64_t size,
                            const seek_faults& faults) {
    const std::uint64_t base = base_of(origin, position, size, faults);
    if (offset < 0) {
        const std::uint64_t magnitude = 0 - static_cast<std::uint64_t>(offset);
        if (base < magnitude) throw_error("Negative offset", faults.negative_offset);
        return base - magnitude;
    }
    // base never exceeds the size, so the room that is left cannot wrap.
    if (static_cast<std::uint64_t>(offset) > size - base) throw_error("Too large offset", faults.too_large_offset);
    return base + static_cast<std::uint64_t>(offset);
}

}  // namespace qv::detail
