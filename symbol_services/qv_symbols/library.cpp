#include "symbol_services/qv_symbols/library.h"

#include <vector>

#include "qv/diagnostics/exception.h"

namespace qv::symbols {
namespace {

HMODULE library_handle = nullptr;

}  // namespace

HMODULE this_library() noexcept {
    return library_handle;
}

boost::filesystem::path path_of_library(HMODULE library) {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        const DWORD length = GetModuleFileNameW(library, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) throw_win32_error("Can't get module file name", GetLastError());
        if (length < buffer.size()) return boost::filesystem::path(buffer.data(), buffer.data() + length);
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace qv::symbols

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) qv::symbols::library_handle = instance;
    return TRUE;
}
