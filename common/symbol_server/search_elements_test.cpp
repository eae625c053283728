#include "common/symbol_server/search_elements.h"

#include <gtest/gtest.h>

#include <vector>

namespace qv::symbol_server {
namespace {

TEST(SearchElements, BecomeTiersBehindTheCachesOnTheirLeft) {
    const struct {
        std::vector<std::wstring> elements;
        std::optional<std::wstring> last;
    } cases[] = {
        {{L"SRV*c:\\a*\\\\host\\b"}, L"c:\\a*\\\\host\\b"},
        {{L"srv*"}, L""},
        {{L"SymSrv*SymSrv.DLL*c:\\a"}, L"c:\\a"},
        {{L"srv*a", L"srv*b"}, L"b"},
        {{L"Cache*c"}, L"c"},
        {{L"cache*c", L"srv*a*b"}, L"c*a*b"},
        {{L"cache*c*s", L"d:\\plain", L"symsrv*other.dll*x", L"symsrv*symsrv.dll*a"}, L"c*a"},
        {{L"cache*c;srv*x", L"cache*d"}, L"c*d"},
        {{L"cache*c", L"cache*d", L"srv*a"}, L"c*d*a"},
        {{L"cache*", L"srv*a"}, L"*a"},
        {{L"symsrv*other.dll*c:\\a"}, std::nullopt},
        {{L"symsrv*symsrv.dll"}, std::nullopt},
        {{L"c:\\srv*"}, std::nullopt},
        {{L""}, std::nullopt},
    };
    for (const auto& each : cases) {
        element_walk walk;
        std::optional<std::wstring> answer;
        for (const auto& element : each.elements) answer = walk.next(element);
        EXPECT_EQ(answer, each.last) << testing::PrintToString(each.elements);
    }
}

// However many caches there are, and however long, what is asked stays short.
TEST(SearchElements, CachesAreBounded) {
    element_walk many, long_one;
    for (int i = 0; i < 1000; ++i) many.next(L"cache*c");
    EXPECT_EQ(many.next(L"srv*a"), L"c*c*c*c*c*c*c*c*a");
    long_one.next(L"cache*" + std::wstring(4096, L'c'));
    EXPECT_EQ(long_one.next(L"srv*a"), L"a");
}

}  // namespace
}  // namespace qv::symbol_server
