#include "pdb_server/src/system/windows/symsrv_imports.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <string>

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

path product_directory() {
    return test_directory().parent_path() / L"bin";
}

std::wstring failure_of_init(const path& directory) {
    try {
        symsrv_imports::init(directory);
    } catch (const exception& error) {
        EXPECT_STREQ(error.where().function,
                     "void __cdecl qv::profiler::pdb_server::symsrv_imports::init(class boost::filesystem::path)");
        EXPECT_STREQ(error.where().source, "pdb_server/src/system/windows/symsrv_imports");
        const std::string message = error.what();
        const auto* named = error.find<errtag_directory_name_w>();
        const auto* file = error.find<errtag_file_w>();
        EXPECT_EQ(error.find<errtag_win32_error>() != nullptr, file != nullptr);
        return std::wstring(message.begin(), message.end()) + L": " + (named != nullptr ? *named : file->c_str());
    }
    return L"no failure";
}

TEST(SymsrvImports, DirectoryMustBeAbsoluteAndThere) {
    for (const std::wstring directory : {L"symbols", L"\\symbols", L"c:symbols", L"..\\x"})
        EXPECT_EQ(failure_of_init(directory), L"Symbol server path isn't absolute: " + directory);
    for (const auto& directory : {test_directory() / L"no such folder", product_directory() / L"SymSrv.dll"})
        EXPECT_EQ(failure_of_init(directory), L"Symbol server path doesn't exist: " + directory.native());
}

// A refused directory leaves the library as it is, a library that cannot be loaded leaves none.
TEST(SymsrvImports, TheLastLibraryIsAsked) {
    const testing::temporary_directory root;
    root.write("m.pdb/1234ABCD000000000000000000000000FFFFFFFF/m.pdb", "");
    const auto finds = [&] {
        return !symsrv_imports::find_file(root.path().native(), L"m.pdb", {0x1234ABCD, 0, 0, {}}, ~0u).empty();
    };
    EXPECT_FALSE(finds());
    symsrv_imports::init(product_directory());
    EXPECT_TRUE(finds());
    failure_of_init(L"symbols");
    EXPECT_TRUE(finds());
    // An empty directory means that of the executable.
    EXPECT_EQ(failure_of_init({}), L"Symbol server wasn't loaded: " + (test_directory() / L"SymSrv.dll").native());
    EXPECT_FALSE(finds());
    EXPECT_EQ(GetModuleHandleW(L"SymSrv.dll"), nullptr);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
