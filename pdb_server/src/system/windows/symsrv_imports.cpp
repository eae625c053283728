#include "pdb_server/src/system/windows/symsrv_imports.h"

#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <memory>
#include <mutex>
#include <utility>

#include "base/exception.h"
#include "base/module_path.h"
#include "common/symbol_server.h"
#include "pdb_server/src/interruption.h"
#include "pdb_server/src/search_listener.h"
#include "text/path.h"

namespace qv::profiler::pdb_server::symsrv_imports {
namespace {

constexpr throw_site init_site{
    "void __cdecl qv::profiler::pdb_server::symsrv_imports::init(class boost::filesystem::path)",
    "pdb_server/src/system/windows/symsrv_imports"};

using library_ptr = std::shared_ptr<const symbol_server::library>;

// The library of the process. A search keeps the one that it began with, so no call outlives its library.
class current_library {
public:
    library_ptr get() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return library_;
    }
    void replace(library_ptr library) {
        const std::lock_guard<std::mutex> lock(mutex_);
        library_.swap(library);
    }

private:
    mutable std::mutex mutex_;
    library_ptr library_;
};

// Stays when the process ends: nobody can say what the library still does then.
current_library& current() {
    static auto* const instance = new current_library;
    return *instance;
}

boost::filesystem::path executable_directory() {
    const std::wstring path = module_path(nullptr);
    if (path.empty()) throw_win32_error("Can't get module file name", GetLastError(), init_site);
    return boost::filesystem::path(path).parent_path();
}

}  // namespace

void init(boost::filesystem::path directory, bool tells) {
    if (directory.empty()) directory = executable_directory();
    if (!directory.has_root_name() || !directory.has_root_directory())
        throw_error("Symbol server path isn't absolute", init_site, errtag_directory_name_w{directory.native()});
    boost::system::error_code ignored;
    if (!boost::filesystem::is_directory(text::to_system_path(directory), ignored))
        throw_error("Symbol server path doesn't exist", init_site, errtag_directory_name_w{directory.native()});

    const auto path = (directory / L"SymSrv.dll").make_preferred();
    const auto name = text::to_system_path(path);
    library_hld loaded(LoadLibraryW(name.c_str()));
    const DWORD error = GetLastError();
    const auto library = loaded ? std::make_shared<const symbol_server::library>(std::move(loaded)) : nullptr;
    if (library) library->set_callbacks({&interruption::is_wanted, tells ? &search_listener::tell : nullptr});
    current().replace(library);
    if (!library) throw_win32_error("Symbol server wasn't loaded", error, init_site, errtag_file_w{path.native()});
}

boost::filesystem::path find_file(const std::wstring& parameters, const std::wstring& file_name, const GUID& id,
                                  std::uint32_t age) {
    const auto library = current().get();
    return library ? library->find(parameters, file_name, id, age) : boost::filesystem::path();
}

}  // namespace qv::profiler::pdb_server::symsrv_imports
