#include "symbol_services/qv_symbols/library.h"

#include "common/module_path.h"
#include "qv/diagnostics/exception.h"

namespace qv::symbols {
namespace {

HMODULE library_handle = nullptr;

}  // namespace

HMODULE this_library() noexcept {
    return library_handle;
}

boost::filesystem::path path_of_library(HMODULE library) {
    const auto path = module_path(library);
    if (path.empty()) throw_win32_error("Can't get module file name", GetLastError());
    return path;
}

}  // namespace qv::symbols

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) qv::symbols::library_handle = instance;
    return TRUE;
}
