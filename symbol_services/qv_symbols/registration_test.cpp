#include <gtest/gtest.h>
#include <windows.h>
// after <windows.h>
#include <objbase.h>
#include <olectl.h>

#include <string>

#include "symbol_services/qv_symbols/library_test_support.h"

namespace qv::symbols {
namespace {

const wchar_t* const binder_key = L"CLSID\\{0A29FF9E-7F9C-4437-8B11-F424491E3931}\\InprocServer32";
const wchar_t* const dispenser_key = L"CLSID\\{E5CB7A31-7512-11D2-89CE-0080C792E5D8}\\InprocServer32";

std::wstring value_of(const wchar_t* key, const wchar_t* name = nullptr) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_CLASSES_ROOT, key, name, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

// Changes the registry of the machine that runs the tests, and leaves it as it was.
class Registration : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(library(), nullptr);
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
        const auto server = value_of(binder_key);
        was_registered_ = server == library_path().native();
        if (!server.empty() && !was_registered_) GTEST_SKIP() << "the machine has a symbol binder of its own";
        call("DllUnregisterServer");
    }
    void TearDown() override {
        if (was_registered_) call("DllRegisterServer");
        CoUninitialize();
    }

    static HRESULT create_by_com(REFCLSID class_id) {
        com_hld<IUnknown> object;
        return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, com::iid_of<IUnknown>, object.put_void());
    }

private:
    bool was_registered_ = false;
};

TEST_F(Registration, ComFindsTheClassesAndForgetsThem) {
    const auto dispenser_before = value_of(dispenser_key);
    EXPECT_TRUE(FAILED(create_by_com(com::clsid_symbol_binder)));
    for (int i = 0; i < 2; ++i) ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(value_of(binder_key), library_path().native());
    EXPECT_EQ(value_of(binder_key, L"ThreadingModel"), L"Both");
    EXPECT_EQ(create_by_com(com::clsid_symbol_binder), S_OK);
    EXPECT_EQ(create_by_com(com::clsid_metadata_dispenser), S_OK);
    for (int i = 0; i < 2; ++i) ASSERT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(value_of(binder_key), L"");
    EXPECT_EQ(value_of(dispenser_key), dispenser_before);
    EXPECT_EQ(value_of(dispenser_key, L"ReplacedServer"), L"");
    EXPECT_TRUE(FAILED(create_by_com(com::clsid_symbol_binder)));
}

// Stands in for the platform's own reader: another library that offers the class.
TEST_F(Registration, ALibraryThatOffersTheClassKeepsIt) {
    const testing::temporary_directory directory;
    const auto other = directory.copy(library_path(), "other.dll").native();
    HKEY classes = nullptr;
    ASSERT_EQ(
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Classes", 0, nullptr, 0, KEY_WRITE, nullptr, &classes, nullptr),
        0);
    ASSERT_EQ(RegSetKeyValueW(classes, binder_key, nullptr, REG_SZ, other.c_str(),
                              static_cast<DWORD>((other.size() + 1) * sizeof(wchar_t))),
              0);
    EXPECT_EQ(call("DllRegisterServer"), SELFREG_E_CLASS);
    EXPECT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(value_of(binder_key), other);
    EXPECT_NE(value_of(dispenser_key), library_path().native());
    RegDeleteTreeW(classes, L"CLSID\\{0A29FF9E-7F9C-4437-8B11-F424491E3931}");
    RegCloseKey(classes);
    CoFreeUnusedLibrariesEx(0, 0);
}

}  // namespace
}  // namespace qv::symbols
