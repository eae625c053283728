#include "pdb_server/src/system/windows/symsrv_imports.h"

#include <windows.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <mutex>
#include <utility>
#include <vector>

#include "common/holders.h"
#include "pdb_server/src/system/symsrv_parameters.h"
#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server::symsrv_imports {
namespace {

constexpr const char* source = "pdb_server/src/system/windows/symsrv_imports";
constexpr const char* init_function =
    "void __cdecl qv::profiler::pdb_server::symsrv_imports::init(class boost::filesystem::path)";

using set_options_function = BOOL(WINAPI*)(UINT_PTR options, ULONG64 data);
using find_function = BOOL(WINAPI*)(PCWSTR parameters, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR found);

constexpr UINT_PTR ssrvopt_guidptr = 0x8;  // the id is given as a pointer to a GUID
constexpr ULONG64 option_on = 1;

struct symbol_server {
    std::mutex mutex;  // also held during calls: the library is documented as single-threaded
    library_hld library;
    find_function find = nullptr;
};

symbol_server& instance() {
    static symbol_server server;
    return server;
}

template <class Function>
Function entry_point(HMODULE library, const char* name) noexcept {
    // By way of a pointer to data: compilers warn of a cast between unlike function types.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

boost::filesystem::path executable_directory() {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0)
            throw_win32_error("Can't get module file name", GetLastError(), init_function, source, __LINE__);
        if (length < buffer.size()) return boost::filesystem::path(buffer.data(), buffer.data() + length).parent_path();
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace

void init(boost::filesystem::path directory) {
    if (directory.empty()) directory = executable_directory();
    if (!directory.has_root_name() || !directory.has_root_directory())
        throw_error("Symbol server path isn't absolute", init_function, source, __LINE__,
                    errtag_directory_name_w{directory.native()});
    boost::system::error_code ignored;
    if (!boost::filesystem::is_directory(directory, ignored))
        throw_error("Symbol server path doesn't exist", init_function, source, __LINE__,
                    errtag_directory_name_w{directory.native()});

    const auto path = (directory / L"SymSrv.dll").make_preferred();
    library_hld library(LoadLibraryW(path.c_str()));
    const DWORD error = GetLastError();
    const bool loaded = static_cast<bool>(library);
    {
        auto& server = instance();
        const std::lock_guard<std::mutex> lock(server.mutex);
        server.find = loaded ? entry_point<find_function>(library.get(), "SymbolServerW") : nullptr;
        server.library = std::move(library);
        if (const auto set_options =
                loaded ? entry_point<set_options_function>(server.library.get(), "SymbolServerSetOptions") : nullptr)
            set_options(ssrvopt_guidptr, option_on);
    }
    if (!loaded)
        throw_win32_error("Symbol server wasn't loaded", error, init_function, source, __LINE__,
                          errtag_file_w{path.native()});
}

boost::filesystem::path find_file(const std::wstring& element, const std::wstring& file_name, const GUID& id,
                                  std::uint32_t age) {
    const auto parameters = symsrv_parameters(element);
    if (!parameters) return {};
    auto& server = instance();
    const std::lock_guard<std::mutex> lock(server.mutex);
    if (server.find == nullptr) return {};
    GUID key = id;
    std::array<wchar_t, MAX_PATH + 1> found{};
    if (!server.find(parameters->c_str(), file_name.c_str(), &key, age, 0, found.data())) return {};
    found.back() = L'\0';
    return boost::filesystem::path(found.data());
}

}  // namespace qv::profiler::pdb_server::symsrv_imports
