#include "pdb_server/src/system/windows/symsrv_imports.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "qv/diagnostics/exception.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;

path test_directory() {
    wchar_t name[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, name, MAX_PATH);
    return path(name).parent_path();
}

// The path that the failure names.
std::wstring refused(const path& directory) {
    try {
        symsrv_imports::init(directory);
    } catch (const exception& error) {
        EXPECT_STREQ(error.where().function,
                     "void __cdecl qv::profiler::pdb_server::symsrv_imports::init(class boost::filesystem::path)");
        const auto* named = error.find<errtag_directory_name_w>();
        return named != nullptr ? *named : *error.find<errtag_file_w>();
    }
    return L"no failure";
}

// A refused directory leaves the library as it is, a library that cannot be loaded leaves none.
TEST(SymsrvImports, TheLastLibraryIsAsked) {
    const testing::temporary_directory root;
    const path file = root.write("m.pdb/1234ABCD000000000000000000000000FFFFFFFF/m.pdb", "").make_preferred();
    const auto find = [&] {
        return symsrv_imports::find_file(root.path().native(), L"m.pdb", {0x1234ABCD, 0, 0, {}}, 0xFFFFFFFF);
    };
    EXPECT_EQ(find(), path());
    symsrv_imports::init(test_directory().parent_path() / L"bin");
    EXPECT_EQ(find(), file);
    for (const path& directory :
         {path(L"symbols"), path(L"\\symbols"), path(L"c:symbols"), root.path() / L"gone", file})
        EXPECT_EQ(refused(directory), directory.native());
    EXPECT_EQ(find(), file);
    // An empty directory means that of the executable.
    EXPECT_EQ(refused({}), (test_directory() / L"SymSrv.dll").native());
    EXPECT_EQ(find(), path());
    EXPECT_EQ(GetModuleHandleW(L"SymSrv.dll"), nullptr);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
