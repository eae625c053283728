#include "symbol_services/symbol_server/search_string.h"

#include <gmock/gmock.h>

namespace qv::symbol_store {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

element in(std::vector<std::wstring_view> locations, bool is_cache = false) {
    element made{{}, is_cache};
    for (const auto location : locations) made.tiers.push_back({tier::kind::directory, location});
    return made;
}

std::vector<element> parse(std::wstring_view text) {
    return parse_search_string(text, L"D");
}

TEST(SearchString, PrefixesAreOptionalAndOfAnyCase) {
    for (const auto* text : {L"srv*a*b", L"SRV*a*b", L"symsrv*symsrv.dll*a*b", L"SymSrv*C:\\x\\SYMSRV.DLL*a*b",
                             L"symsrv*symsrv*a*b", L"a*b", L";symsrv*other.dll*c;a*b;"})
        EXPECT_THAT(parse(text), ElementsAre(in({L"a", L"b"}))) << testing::PrintToString(text);
    EXPECT_THAT(parse(L"a;Cache*c*d"), ElementsAre(in({L"a"}), in({L"c", L"d"}, true)));
}

TEST(SearchString, EmptyTierIsTheDefaultStore) {
    for (const auto* text : {L"", L"srv*", L"symsrv*symsrv.dll"}) EXPECT_THAT(parse(text), ElementsAre(in({L"D"})));
    EXPECT_THAT(parse(L"srv**b;cache*"), ElementsAre(in({L"D", L"b"}), in({L"D"}, true)));
    EXPECT_THAT(parse(L";symsrv*;symsrv*xsymsrv.dll*a"), IsEmpty());
}

TEST(SearchString, KindsOfPlaces) {
    const auto elements = parse(L"srv*HTTPS://host/a*\\\\.\\pipe\\x");
    EXPECT_EQ(elements[0].tiers[0].type, tier::kind::remote);
    EXPECT_EQ(elements[0].tiers[1].type, tier::kind::unsupported);
    EXPECT_EQ(parse(std::wstring_view(L"a\0b", 3))[0].tiers[0].type, tier::kind::unsupported);
}

}  // namespace
}  // namespace qv::symbol_store
