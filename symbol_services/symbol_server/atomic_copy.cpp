#include "symbol_services/symbol_server/atomic_copy.h"

#include <algorithm>
#include <vector>

#include "base/os_file.h"
#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/temporary_file.h"

namespace qv::symbol_store {
namespace {

constexpr std::uint64_t copy_step = std::uint64_t{64} * 1024;

// No format of symbol files or images goes beyond 32-bit sizes; what is larger would only fill the disk.
constexpr std::uint64_t largest_copy = 0xFFFFFFFF;

bool copy_bytes(const os_file& from, temporary_file& to) {
    std::uint64_t size = 0;
    if (from.get_size(size) != 0 || size > largest_copy) return false;
    std::vector<char> buffer(static_cast<std::size_t>(std::min(size, copy_step)));
    for (std::uint64_t done = 0; done < size;) {
        const auto step = std::min(size - done, copy_step);
        if (from.read(done, buffer.data(), step) != 0 || !to.write(buffer.data(), step)) return false;
        done += step;
    }
    // A source that has grown was still being written.
    std::uint64_t size_now = 0;
    return from.get_size(size_now) == 0 && size_now == size;
}

}  // namespace

bool copy_atomically(const boost::filesystem::path& source, const boost::filesystem::path& target) {
    if (file_exists(target)) return true;
    os_file from;
    if (from.open(source, os_file::mode::copy) != 0) return false;
    temporary_file copy(target.parent_path());
    if (!copy.is_open() || !copy_bytes(from, copy) || !copy.finish()) return false;
    return copy.rename_to(target) || file_exists(target);
}

}  // namespace qv::symbol_store
