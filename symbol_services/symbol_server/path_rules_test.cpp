#include "symbol_services/symbol_server/path_rules.h"

#include <gtest/gtest.h>

#include <string>

namespace qv::symbol_store {
namespace {

TEST(PlainComponent, NeitherLeavesTheDirectoryNorIsADevice) {
    for (const std::wstring name :
         {L"app.pdb", L"My App (1).pdb", L"..a", L"console.pdb", L"com10.pdb", L"LPT", L"\xD83D\xDE00.pdb", L".hidden"})
        EXPECT_TRUE(is_plain_component(name)) << testing::PrintToString(name);
    for (const std::wstring name : {L"", L".", L"..", L"a/b", L"a\\b", L"a.pdb:stream", L"a*", L"a?", L"a|b", L"a\nb",
                                    L"a.", L"a ", L"<a", L"a>", L"\"a", L"NUL", L"nul.pdb", L"Con", L"con .txt"})
        EXPECT_FALSE(is_plain_component(name)) << testing::PrintToString(name);
    for (const std::wstring name : {L"AUX.a.b", L"PRN", L"com0.pdb", L"LPT9.x", L"COM\u00B2", L"CONIN$", L"conout$.pdb",
                                    L"CLOCK$", L"a\xD83D", L"a\xDE00.pdb", L"\xD83D\xD83D\xDE00"})
        EXPECT_FALSE(is_plain_component(name)) << testing::PrintToString(name);
    EXPECT_TRUE(is_plain_component(std::wstring(255, L'a')));
    EXPECT_FALSE(is_plain_component(std::wstring(256, L'a')));
}

TEST(DevicePath, KnowsDevicesFromShares) {
    for (const std::wstring path : {L"\\\\.\\pipe\\x", L"//./COM1", L"\\\\?\\GLOBALROOT\\Device\\Null", L"\\\\?\\",
                                    L"\\\\?\\UNC\\host\\pipe\\x", L"\\\\host\\PIPE\\x", L"\\\\host/mailslot/x"})
        EXPECT_TRUE(is_device_path(path)) << testing::PrintToString(path);
    for (const std::wstring path : {L"", L"\\\\", L"C:\\sym", L"\\\\host\\share", L"\\\\host\\pipes", L"\\\\?\\C:\\sym",
                                    L"\\\\?\\UNC\\host\\share", L".\\x"})
        EXPECT_FALSE(is_device_path(path)) << testing::PrintToString(path);
}

}  // namespace
}  // namespace qv::symbol_store
