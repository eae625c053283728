// Owner of a Win32 handle. Windows only.
#pragma once

#include <windows.h>

#include <memory>

namespace qv::profiler::pdb_client {

struct handle_closer {
    void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};

// Null when empty; INVALID_HANDLE_VALUE is turned into null by make_handle.
using unique_handle = std::unique_ptr<void, handle_closer>;

inline unique_handle make_handle(HANDLE handle) noexcept {
    return unique_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

}  // namespace qv::profiler::pdb_client
