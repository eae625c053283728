#include "symbol_services/qv_symbols/symbol_server.h"

#include <windows.h>

#include <memory>
#include <mutex>

#include "common/symbol_server.h"
#include "symbol_services/qv_symbols/library.h"

namespace qv::symbols {
namespace {

// Null where the library cannot be loaded. What is loaded stays, and so does this library: a DLL must not let go of
// another one while it is being unloaded.
const symbol_server::library* load_symbol_server() noexcept {
    try {
        HMODULE loaded = nullptr;
        if (!GetModuleHandleExW(0, L"SymSrv.dll", &loaded))
            loaded = LoadLibraryW((path_of_library(this_library()).parent_path() / L"SymSrv.dll").c_str());
        library_hld owned(loaded);
        HMODULE pinned = nullptr;
        if (!owned || !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                          reinterpret_cast<LPCWSTR>(&load_symbol_server), &pinned))
            return nullptr;
        auto library = std::make_unique<const symbol_server::library>(std::move(owned));
        return library->can_find() ? library.release() : nullptr;
    } catch (...) {
        return nullptr;
    }
}

// The library, once it could be loaded; until then each search tries anew, as what keeps it away may be over.
const symbol_server::library* loaded_symbol_server() {
    static std::mutex mutex;
    static const symbol_server::library* server = nullptr;
    const std::lock_guard<std::mutex> lock(mutex);
    if (server == nullptr) server = load_symbol_server();
    return server;
}

}  // namespace

std::optional<boost::filesystem::path> find_on_server(const std::wstring& parameters,
                                                      const classic_reader::codeview_record& record) {
    const symbol_server::library* const server = loaded_symbol_server();
    if (server == nullptr) return std::nullopt;
    auto found = server->find(parameters, record.file_name(), record.guid, record.age);
    return found.empty() ? std::nullopt : std::optional(std::move(found));
}

}  // namespace qv::symbols
