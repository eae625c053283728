#include "pdb_server/src/system/symsrv_parameters.h"

#include <gtest/gtest.h>

namespace qv::profiler::pdb_server {
namespace {

TEST(SymsrvParameters, ArePrefixFreeStoresOrTheWholeCacheElement) {
    const struct {
        const wchar_t* element;
        const wchar_t* parameters;
    } cases[] = {
        {L"srv*c:\\a*\\\\host\\b", L"c:\\a*\\\\host\\b"},
        {L"SRV*c:\\a", L"c:\\a"},
        {L"srv*", L""},
        {L"symsrv*symsrv.dll*c:\\a", L"c:\\a"},
        {L"SymSrv*SymSrv.DLL*c:\\a*d:\\b", L"c:\\a*d:\\b"},
        {L"cache*c:\\a", L"cache*c:\\a"},
    };
    for (const auto& each : cases) EXPECT_EQ(symsrv_parameters(each.element), each.parameters);
}

TEST(SymsrvParameters, OtherLibrariesAndDirectoriesAreNotForUs) {
    for (const wchar_t* element :
         {L"symsrv*other.dll*c:\\a", L"symsrv*symsrv.dll", L"symsrv*", L"c:\\srv*", L"srv", L""})
        EXPECT_EQ(symsrv_parameters(element), std::nullopt);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
