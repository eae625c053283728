#include "symbol_services/symbol_server/search_string.h"

#include <gmock/gmock.h>

namespace qv::symbol_store {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

tier dir(const wchar_t* location) {
    return {tier::kind::directory, location};
}

std::vector<tier_chain> parse(std::wstring_view text) {
    return parse_search_string(text, L"D");
}

TEST(SearchString, PrefixesAreOptionalAndOfAnyCase) {
    for (const auto* text : {L"srv*a*b", L"SRV*a*b", L"symsrv*symsrv.dll*a*b", L"SymSrv*C:\\x\\SYMSRV.DLL*a*b",
                             L"symsrv*symsrv*a*b", L"a*b", L"cache*a*b"})
        EXPECT_THAT(parse(text), ElementsAre(tier_chain{dir(L"a"), dir(L"b")})) << testing::PrintToString(text);
}

TEST(SearchString, EmptyTierIsTheDefaultStore) {
    EXPECT_THAT(parse(L""), ElementsAre(tier_chain{dir(L"D")}));
    EXPECT_THAT(parse(L"srv*"), ElementsAre(tier_chain{dir(L"D")}));
    EXPECT_THAT(parse(L"symsrv*symsrv.dll"), ElementsAre(tier_chain{dir(L"D")}));
    EXPECT_THAT(parse(L"srv**b"), ElementsAre(tier_chain{dir(L"D"), dir(L"b")}));
    EXPECT_THAT(parse(L"cache*;b"), ElementsAre(tier_chain{dir(L"D")}, tier_chain{dir(L"D"), dir(L"b")}));
}

TEST(SearchString, EmptyElementsAreIgnored) {
    EXPECT_THAT(parse(L";a;;b;"), ElementsAre(tier_chain{dir(L"a")}, tier_chain{dir(L"b")}));
    EXPECT_THAT(parse(L";"), IsEmpty());
}

TEST(SearchString, FirstCacheServesTheElementsToItsRight) {
    EXPECT_THAT(parse(L"a;cache*c;srv*b;cache*d*e;f"),
                ElementsAre(tier_chain{dir(L"a")}, tier_chain{dir(L"c")}, tier_chain{dir(L"c"), dir(L"b")},
                            tier_chain{dir(L"c"), dir(L"d"), dir(L"e")}, tier_chain{dir(L"c"), dir(L"f")}));
}

TEST(SearchString, ElementsOfOtherLibrariesAreLeftOut) {
    EXPECT_THAT(parse(L"symsrv*other.dll*a;b"), ElementsAre(tier_chain{dir(L"b")}));
    EXPECT_THAT(parse(L"symsrv*;symsrv*xsymsrv.dll*a"), IsEmpty());
}

TEST(SearchString, KindsOfPlaces) {
    EXPECT_THAT(
        parse(L"srv*c:\\sym*HTTPS://host/a*\\\\.\\pipe\\x"),
        ElementsAre(tier_chain{
            dir(L"c:\\sym"), {tier::kind::remote, L"HTTPS://host/a"}, {tier::kind::unsupported, L"\\\\.\\pipe\\x"}}));
    EXPECT_EQ(parse(std::wstring_view(L"a\0b", 3))[0][0].type, tier::kind::unsupported);
}

}  // namespace
}  // namespace qv::symbol_store
