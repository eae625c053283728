#include "symbol_services/qv_symbols/symbol_server.h"

#include <windows.h>

#include "pdb_server/src/system/windows/symsrv_imports.h"
#include "symbol_services/qv_symbols/library.h"

namespace qv::symbols {
namespace {

namespace imports = profiler::pdb_server::symsrv_imports;

bool load_symbol_server() noexcept {
    try {
        HMODULE loaded = GetModuleHandleW(L"SymSrv.dll");
        imports::init(path_of_library(loaded != nullptr ? loaded : this_library()).parent_path());
        // A library must not be let go while this one is being unloaded, so this one stays.
        HMODULE pinned = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&load_symbol_server), &pinned);
        return true;
    } catch (...) {
        return false;  // a host without the library has no symbol servers
    }
}

}  // namespace

std::optional<boost::filesystem::path> find_on_server(const std::wstring& element,
                                                      const classic_reader::codeview_record& record) {
    static const bool is_loaded = load_symbol_server();
    if (!is_loaded) return std::nullopt;
    auto found = imports::find_file(element, record.file_name(), record.guid, record.age);
    return found.empty() ? std::nullopt : std::optional(std::move(found));
}

}  // namespace qv::symbols
