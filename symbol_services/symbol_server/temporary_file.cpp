#include "symbol_services/symbol_server/temporary_file.h"

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <cstdio>

#include "base/thread.h"
#include "text/path.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

// Process and counter make the name unique on this machine; another machine may have taken it on a share.
os_file create(const fs::path& directory, fs::path& path) {
    constexpr int attempts = 100;
    static std::atomic<std::uint32_t> counter = 0;
    os_file file;
    for (int i = 0; i < attempts; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "~%08x%08x.tmp",
                      static_cast<unsigned>(quorvex::common::os::current_process_id()),
                      static_cast<unsigned>(++counter));
        auto candidate = directory / name;
        const system_code code = file.open(candidate, os_file::mode::create);
        if (kind_of(code) == failure_kind::name_taken) continue;
        if (code == 0) path = std::move(candidate);
        break;
    }
    return file;
}

}  // namespace

temporary_file::temporary_file(const fs::path& directory) : file_(create(directory, path_)) {}

temporary_file::~temporary_file() {
    if (path_.empty()) return;
    file_.close();
    boost::system::error_code ignored;
    fs::remove(text::to_system_path(path_), ignored);
}

bool temporary_file::write(const void* bytes, std::uint64_t size) noexcept {
    if (file_.write(size_, bytes, size) != 0) return false;
    size_ += size;
    return true;
}

bool temporary_file::finish() noexcept {
    const bool flushed = file_.flush() == 0;
    file_.close();
    return flushed;
}

bool temporary_file::rename_to(const fs::path& target) {
    if (!rename_file(path_, target)) return false;
    path_.clear();
    return true;
}

}  // namespace qv::symbol_store
