#include "symbol_services/symbol_server/atomic_copy.h"

#include <algorithm>
#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <vector>

#include "qv/text/path.h"
#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/os_file.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

constexpr std::uint64_t copy_step = std::uint64_t{64} * 1024;

// No format of symbol files or images goes beyond 32-bit sizes; what is larger would only fill the disk.
constexpr std::uint64_t largest_copy = 0xFFFFFFFF;

// A temporary file that vanishes with this object unless it was renamed.
class temporary_file {
public:
    explicit temporary_file(const fs::path& directory) : file_(create(directory, path_)) {}
    ~temporary_file() {
        if (path_.empty()) return;
        file_.close();
        boost::system::error_code ignored;
        fs::remove(text::to_system_path(path_), ignored);
    }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    os_file& file() noexcept { return file_; }

    bool rename_to(const fs::path& target) {
        file_.close();
        if (!rename_file(path_, target)) return false;
        path_.clear();
        return true;
    }

private:
    // Process and counter make the name unique on this machine; another machine may have taken it on a share.
    static os_file create(const fs::path& directory, fs::path& path) {
        constexpr int attempts = 100;
        static std::atomic<std::uint32_t> counter = 0;
        for (int i = 0; i < attempts; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "~%08x%08x.tmp", static_cast<unsigned>(current_process_id()),
                          static_cast<unsigned>(++counter));
            auto candidate = directory / name;
            auto file = os_file::create(candidate);
            const bool retry = !file.is_open() && is_name_taken();
            if (retry) continue;
            if (file.is_open()) path = std::move(candidate);
            return file;
        }
        return os_file::create(fs::path());
    }

    fs::path path_;
    os_file file_;
};

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

bool copy_atomically(const fs::path& source, const fs::path& target) {
    if (file_exists(target)) return true;
    auto from = os_file::open(source);
    if (!from.is_open()) return false;
    temporary_file copy(target.parent_path());
    if (!copy.file().is_open() || !copy_bytes(from, copy.file()) || !copy.file().flush()) return false;
    return copy.rename_to(target) || file_exists(target);
}

}  // namespace qv::symbol_store
