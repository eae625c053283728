#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "symbol_services/symbol_server/file_lock.h"

namespace qv::symbol_store {

file_lock::file_lock(const boost::filesystem::path& path) {
    constexpr mode_t readable = 0666;
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, readable);
    handle_ = descriptor;
    if (descriptor < 0) return;
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        state_ = state::owned;
    else if (errno == EWOULDBLOCK)
        state_ = state::taken;
}

file_lock::~file_lock() {
    if (handle_ != -1) ::close(static_cast<int>(handle_));
}

}  // namespace qv::symbol_store
