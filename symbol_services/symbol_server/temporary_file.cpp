#include "symbol_services/symbol_server/temporary_file.h"

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <cstdio>

#include "qv/text/path.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

// Process and counter make the name unique on this machine; another machine may have taken it on a share.
os_file create(const fs::path& directory, fs::path& path) {
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

}  // namespace

temporary_file::temporary_file(const fs::path& directory) : file_(create(directory, path_)) {}

temporary_file::~temporary_file() {
    if (path_.empty()) return;
    file_.close();
    boost::system::error_code ignored;
    fs::remove(text::to_system_path(path_), ignored);
}

bool temporary_file::finish() noexcept {
    const bool flushed = file_.flush();
    file_.close();
    return flushed;
}

bool temporary_file::rename_to(const fs::path& target) {
    if (!rename_file(path_, target)) return false;
    path_.clear();
    return true;
}

}  // namespace qv::symbol_store
