// Where a module of this process lies. Windows only.
#pragma once

#include <windows.h>

#include <string>

namespace qv {

// The path of the module's file; null means the program. Empty where the system does not know it: GetLastError() says
// why.
inline std::wstring module_path(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        const bool is_whole = length < path.size();
        path.resize(is_whole ? length : 2 * path.size());
        if (is_whole) return path;
    }
}

}  // namespace qv
