#include "symbol_services/symbol_server/atomic_copy.h"

#include <algorithm>
#include <vector>

#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/temporary_file.h"

namespace qv::symbol_store {
namespace {

constexpr std::uint64_t copy_step = std::uint64_t{64} * 1024;

// No format of symbol files or images goes beyond 32-bit sizes; what is larger would only fill the disk.
constexpr std::uint64_t largest_copy = 0xFFFFFFFF;

bool copy_bytes(os_file& from, os_file& to) {
    const auto size = from.size();
    if (!size || *size > largest_copy) return false;
    std::vector<char> buffer(static_cast<std::size_t>(std::min(*size, copy_step)));
    for (auto left = *size; left != 0;) {
        const auto step = static_cast<std::size_t>(std::min(left, copy_step));
        if (!from.read(buffer.data(), step) || !to.write(buffer.data(), step)) return false;
        left -= step;
    }
    // A source that has grown was still being written.
    return from.size() == size;
}

}  // namespace

bool copy_atomically(const boost::filesystem::path& source, const boost::filesystem::path& target) {
    if (file_exists(target)) return true;
    auto from = os_file::open(source);
    if (!from.is_open()) return false;
    temporary_file copy(target.parent_path());
    if (!copy.file().is_open() || !copy_bytes(from, copy.file()) || !copy.finish()) return false;
    return copy.rename_to(target) || file_exists(target);
}

}  // namespace qv::symbol_store
