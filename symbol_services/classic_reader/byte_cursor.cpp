#include "symbol_services/classic_reader/byte_cursor.h"

#include <algorithm>

#include "base/work_counter.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
std::span<const unsigned char> byte_cursor::take(std::uint64_t count) {
    if (count > rest_.size()) throw_corrupt("Unexpected end of PDB data");
    count_work(1);
    const auto taken = rest_.first(static_cast<std::size_t>(count));
    rest_ = rest_.subspan(static_cast<std::size_t>(count));
    return taken;
}

std::string_view byte_cursor::text() {
    const auto end = std::find(rest_.begin(), rest_.end(), static_cast<unsigned char>(0));
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    count_work(length);
    const auto taken = take(std::uint64_t{length} + 1);
    return {reinterpret_cast<const char*>(taken.data()), length};
}

void byte_cursor::skip_up_to(std::uint64_t count) noexcept {
    rest_ = rest_.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(count, rest_.size())));
}

}  // namespace qv::classic_reader
