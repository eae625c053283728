#include "text/path.h"

#include <gtest/gtest.h>

namespace {

using qv::text::to_long_path;

// The part that makes a path long: three directories.
const std::wstring deep = std::wstring(99, L'd') + L'\\' + std::wstring(99, L'e') + L'\\' + std::wstring(99, L'f');

TEST(LongPath, LongAbsolutePathsGetThePrefixAndAreNormalised) {
    const struct {
        std::wstring given, expected;
    } cases[] = {
        {L"C:\\" + deep + L"\\a.dll", L"\\\\?\\C:\\" + deep + L"\\a.dll"},
        {L"z:/x//" + deep + L"/./y/../a.dll", L"\\\\?\\z:\\x\\" + deep + L"\\a.dll"},
        {L"C:\\..\\..\\" + deep + L"\\x\\..", L"\\\\?\\C:\\" + deep},
        {L"C:\\" + deep + L"\\.", L"\\\\?\\C:\\" + deep},
        {L"C:\\" + deep + L"\\.\\", L"\\\\?\\C:\\" + deep + L"\\"},
        {L"C:\\" + deep + L"\\one.\\more...\\ a b . . ", L"\\\\?\\C:\\" + deep + L"\\one\\more...\\ a b"},
        {L"\\\\server\\share$\\" + deep, L"\\\\?\\UNC\\server\\share$\\" + deep},
        {L"//server/share/../" + deep + L"/", L"\\\\?\\UNC\\server\\share\\" + deep + L"\\"},
        {L"\\\\" + std::wstring(300, L's') + L"\\share", L"\\\\?\\UNC\\" + std::wstring(300, L's') + L"\\share"},
        {L"C:\\" + std::wstring(245, L'x'), L"\\\\?\\C:\\" + std::wstring(245, L'x')},
    };
    for (const auto& [given, expected] : cases) EXPECT_EQ(to_long_path(given), expected);
    for (const std::wstring& other :
         {std::wstring(L"C:/short/../a.dll"), L"C:\\" + std::wstring(244, L'x'), deep + L"/a.dll", L"C:" + deep,
          L"\\" + deep + L"/a", L"1:\\" + deep + L"/a", L"\\\\?\\C:\\" + deep + L"/../a", L"\\\\.\\pipe/" + deep,
          L"\\??\\C:\\" + deep + L"/a", L"\\\\" + std::wstring(300, L's'), L"\\\\\\" + deep + L"/a", std::wstring()})
        EXPECT_EQ(to_long_path(other), other);
}

}  // namespace
