#include "pdb_server/src/system/windows/symsrv_imports.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <string>

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;

path test_directory() {
    std::wstring name(32768, L'\0');
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return path(name).parent_path();
}

// Where the build puts the library of the tests.
path library_directory() {
    return test_directory() / L"fake_symsrv";
}

struct failure {
    std::string message;
    std::wstring attached;
    bool has_code = false;
};

failure failure_of_init(const path& directory) {
    try {
        symsrv_imports::init(directory);
    } catch (const exception& error) {
        EXPECT_STREQ(error.where().function,
                     "void __cdecl qv::profiler::pdb_server::symsrv_imports::init(class boost::filesystem::path)");
        EXPECT_STREQ(error.where().source, "pdb_server/src/system/windows/symsrv_imports");
        const auto* named = error.find<errtag_directory_name_w>();
        const auto* file = error.find<errtag_file_w>();
        return {error.what(),
                named != nullptr  ? *named
                : file != nullptr ? *file
                                  : L"",
                error.find<errtag_win32_error>() != nullptr};
    }
    return {};
}

path find(const std::wstring& element, const std::wstring& file_name = L"m.pdb") {
    return symsrv_imports::find_file(element, file_name, GUID{0x1234ABCD, 0, 0, {}}, 0xFFFFFFFF);
}

TEST(SymsrvImports, DirectoryMustBeAbsolute) {
    for (const wchar_t* directory : {L"symbols", L"\\symbols", L"c:symbols", L"..\\x"}) {
        const auto failed = failure_of_init(directory);
        EXPECT_EQ(failed.message, "Symbol server path isn't absolute");
        EXPECT_EQ(failed.attached, directory);
    }
}

TEST(SymsrvImports, DirectoryMustExist) {
    for (const auto& directory : {test_directory() / L"no such folder", library_directory() / L"SymSrv.dll"}) {
        const auto failed = failure_of_init(directory);
        EXPECT_EQ(failed.message, "Symbol server path doesn't exist");
        EXPECT_EQ(failed.attached, directory.native());
    }
}

TEST(SymsrvImports, EmptyDirectoryMeansTheExecutables) {
    const auto failed = failure_of_init({});
    EXPECT_EQ(failed.message, "Symbol server wasn't loaded");
    EXPECT_EQ(failed.attached, (test_directory() / L"SymSrv.dll").native());
    EXPECT_TRUE(failed.has_code);
}

TEST(SymsrvImports, LibraryIsAskedByItsPublishedContract) {
    symsrv_imports::init(library_directory());
    EXPECT_EQ(find(L"srv*c:\\a*d:\\b"), L"c:\\a*d:\\b|m.pdb|1234ABCD|FFFFFFFF|0|1");
    EXPECT_EQ(find(L"cache*c:\\a"), L"cache*c:\\a|m.pdb|1234ABCD|FFFFFFFF|0|1");
    EXPECT_EQ(find(L"srv*c:\\a", L"absent.pdb"), L"");
    EXPECT_EQ(find(L"symsrv*other.dll*c:\\a"), L"");
}

TEST(SymsrvImports, FailedLoadLeavesNoLibraryAndRefusedDirectoryLeavesTheOld) {
    symsrv_imports::init(library_directory());
    failure_of_init(L"symbols");
    EXPECT_NE(find(L"srv*c:\\a"), L"");
    failure_of_init(test_directory());
    EXPECT_EQ(find(L"srv*c:\\a"), L"");
    EXPECT_EQ(GetModuleHandleW((library_directory() / L"SymSrv.dll").c_str()), nullptr);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
