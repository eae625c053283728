// The built library, loaded as any caller does.
#pragma once

#include <windows.h>

#include <boost/filesystem/path.hpp>

#include "base/module_path.h"

namespace qv::testing {

template <class Function>
Function* exported(const char* name) {
    const auto folder = boost::filesystem::path(module_path(nullptr)).parent_path().parent_path();
    static const auto library = LoadLibraryW((folder / "bin" / "SymSrv.dll").c_str());
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace qv::testing

#define QV_EXPORTED(name) qv::testing::exported<decltype(name)>(#name)
