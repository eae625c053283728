// For tests: the library as a client meets it.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <boost/filesystem/path.hpp>
#include <string>

#include "common/sdk_helpers.h"
#include "qv/com/metadata_import.h"
#include "qv/com/runtime_interfaces.h"
#include "qv/com/symbol_interfaces.h"
#include "qv/text/path.h"
#include "tests/support/pdb_writer/sample_module.h"

namespace qv::symbols {

using testing::sample_module;

// The test programs lie beside the folder of the product's programs.
inline boost::filesystem::path library_path() {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return boost::filesystem::path(program).parent_path().parent_path() / "bin" / "qv_symbols.dll";
}

// The library, loaded for the whole program.
inline HMODULE library() {
    static const HMODULE loaded = LoadLibraryW(library_path().c_str());
    return loaded;
}

template <class Function>
Function* entry_point(const char* name) {
    // By way of a pointer to data: compilers warn of a cast between unlike function types.
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library(), name)));
}

inline HRESULT get_class_object(REFCLSID class_id, REFIID id, void** object) {
    return entry_point<HRESULT STDMETHODCALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject")(class_id, id, object);
}

inline HRESULT call(const char* name) {
    return entry_point<HRESULT STDMETHODCALLTYPE()>(name)();
}

template <class Interface>
com_hld<Interface> create(REFCLSID class_id) {
    com_hld<IClassFactory> factory;
    EXPECT_EQ(get_class_object(class_id, com::iid_of<IClassFactory>, factory.put_void()), S_OK);
    com_hld<Interface> object;
    EXPECT_EQ(factory->CreateInstance(nullptr, com::iid_of<Interface>, object.put_void()), S_OK);
    return object;
}

inline com_hld<IUnknown> open_scope(com::IMetaDataDispenser& dispenser, const boost::filesystem::path& image) {
    com_hld<IUnknown> scope;
    EXPECT_EQ(dispenser.OpenScope(image.c_str(), 0, com::iid_of<com::IMetaDataImport>, scope.put()), S_OK);
    return scope;
}

}  // namespace qv::symbols
