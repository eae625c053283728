// For tests: the library as a client meets it, and an image with a classic PDB beside it.
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
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::symbols {

constexpr GUID sample_mvid{0x51A7E5E1, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};

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

// "module.dll" with its "module.pdb" beside it.
struct sample_module {
    sample_module() : sample_module(test::sample_pdb_description()) {}
    explicit sample_module(const test::pdb_description& description) {
        const auto pdb_bytes = test::write_pdb(description);
        pdb = directory.write("module.pdb", std::string(pdb_bytes.begin(), pdb_bytes.end()));
        const auto record = test::codeview_data(description.guid, description.age, "C:\\obj\\module.pdb");
        const auto image_bytes = test::pe_builder()
                                     .metadata(test::image_metadata(sample_mvid, 4).build())
                                     .debug_entry(2, 0, 1, record)
                                     .build()
                                     .data;
        image = directory.write("module.dll", std::string(image_bytes.begin(), image_bytes.end()));
    }

    testing::temporary_directory directory;
    boost::filesystem::path pdb;
    boost::filesystem::path image;
};

inline com_hld<IUnknown> open_scope(com::IMetaDataDispenser& dispenser, const boost::filesystem::path& image) {
    com_hld<IUnknown> scope;
    EXPECT_EQ(dispenser.OpenScope(image.c_str(), 0, com::iid_of<com::IMetaDataImport>, scope.put()), S_OK);
    return scope;
}

}  // namespace qv::symbols
