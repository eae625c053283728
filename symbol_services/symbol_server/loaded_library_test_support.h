// The built library, loaded as any caller does.
#pragma once

#include <windows.h>

#include <boost/filesystem/path.hpp>

namespace qv::testing {

template <class Function>
Function* exported(const char* name) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    static const auto library =
        LoadLibraryW((boost::filesystem::path(program).parent_path().parent_path() / "bin" / "SymSrv.dll").c_str());
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace qv::testing

#define QV_EXPORTED(name) qv::testing::exported<decltype(name)>(#name)
