#include <windows.h>

#include "symbol_services/symbol_server/file_lock.h"
#include "text/path.h"

namespace qv::symbol_store {

// Shared with nobody; the system removes the file with the handle, whatever becomes of the process.
file_lock::file_lock(const boost::filesystem::path& path)
    : handle_(reinterpret_cast<std::intptr_t>(
          CreateFileW(text::to_system_path(path).c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr))) {
    if (handle_ != -1)
        state_ = state::owned;
    else if (GetLastError() == ERROR_SHARING_VIOLATION)
        state_ = state::taken;
}

file_lock::~file_lock() {
    if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace qv::symbol_store
