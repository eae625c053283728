// Owners of the Windows objects that the server uses.
#pragma once

#include <windows.h>

#include "common/unique_hld.h"

namespace qv {

struct deleter_LocalFree {
    void operator()(void* block) const noexcept { LocalFree(block); }
};

struct deleter_CloseHandle {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

struct deleter_FreeLibrary {
    void operator()(HMODULE library) const noexcept { FreeLibrary(library); }
};

struct deleter_FreeSid {
    void operator()(PSID sid) const noexcept { FreeSid(sid); }
};

// Kernel objects: events, threads, files, pipe instances.
using handle_hld = unique_hld<HANDLE, deleter_CloseHandle>;
using library_hld = unique_hld<HMODULE, deleter_FreeLibrary>;

// Files and pipes report failure by INVALID_HANDLE_VALUE; a holder knows only null.
inline HANDLE valid_handle_or_null(HANDLE handle) noexcept {
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

}  // namespace qv
