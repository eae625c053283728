#include "pdb_server/src/search_paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/src/bridges/bridge_protocol.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;
using ::testing::ElementsAre;

constexpr GUID pdb_guid = {0x01234567, 0x89ab, 0xcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};

// Absolute on the system that the test runs on.
path rooted(const char* relative) {
#ifdef _WIN32
    return path("C:/") / relative;
#else
    return path("/") / relative;
#endif
}

TEST(SearchPaths, TellsSymbolServersFromDirectories) {
    for (const wchar_t* element : {L"srv*", L"SRV*c:\\cache*d:\\store", L"SymSrv*symsrv.dll*x", L"cache*c:\\c"})
        EXPECT_TRUE(is_symbol_server_element(text::to_path(element))) << text::to_wide(text::to_path(element)).size();
    for (const wchar_t* element : {L"", L"srv", L"srv.d", L"srvx*", L" srv*", L"c:\\srv*", L"cache"})
        EXPECT_FALSE(is_symbol_server_element(text::to_path(element)));
}

TEST(SearchPaths, KeepsEmptyElements) {
    EXPECT_THAT(split_search_path(L"a;;b;"), ElementsAre(L"a", L"", L"b", L""));
    EXPECT_THAT(split_search_path(L""), ElementsAre(L""));
    EXPECT_THAT(split_search_path(L" a b "), ElementsAre(L" a b "));
}

TEST(SearchPaths, TakesTheFileNameAfterEitherSlash) {
    EXPECT_EQ(recorded_file_name(L"/_/artifacts/obj/App.pdb"), L"App.pdb");
    EXPECT_EQ(recorded_file_name(L"D:\\a/b\\App.pdb"), L"App.pdb");
    EXPECT_EQ(recorded_file_name(L"App.pdb"), L"App.pdb");
    EXPECT_EQ(recorded_file_name(L"D:\\a\\"), L"");
}

struct offering {
    search_path_list elements;
    std::uint8_t policy = 0;
    std::vector<std::wstring> asked;
    path answer;

    std::vector<path> of(const std::wstring& recorded, std::size_t stop_after = 1000) {
        const path image = rooted("app/bin/App.dll");
        const platform_services services = {
            nullptr, [this](const std::wstring& element, const std::wstring& file, const GUID& id, std::uint32_t age) {
                EXPECT_EQ(file, L"App.pdb");
                EXPECT_TRUE(id == pdb_guid);
                EXPECT_EQ(age, 0xFFFFFFFFu);
                asked.push_back(element);
                return answer;
            }};
        std::vector<path> places;
        symbol_candidates{image, elements, policy, services}.offer(recorded, pdb_guid, [&](const path& place) {
            places.push_back(place);
            return places.size() == stop_after;
        });
        return places;
    }
};

TEST(SymbolCandidates, OffersEveryPlaceInOrder) {
    offering offer;
    offer.elements = {rooted("one"), path("srv*x"), rooted("two")};
    const path key = "0123456789ABCDEF0123456789ABCDEFFFFFFFFF";
    EXPECT_THAT(
        offer.of(text::to_wide(rooted("build/App.pdb"))),
        ElementsAre(rooted("build/App.pdb"), rooted("app/bin") / "App.pdb",
                    rooted("app/bin") / "symbols" / "App.pdb",  //
                    rooted("one") / "App.pdb", rooted("one") / "symbols" / "App.pdb", rooted("one") / "dll" / "App.pdb",
                    rooted("one") / "symbols" / "dll" / "App.pdb",
                    rooted("one") / "App.pdb" / key / "App.pdb",  //
                    rooted("two") / "App.pdb", rooted("two") / "symbols" / "App.pdb", rooted("two") / "dll" / "App.pdb",
                    rooted("two") / "symbols" / "dll" / "App.pdb", rooted("two") / "App.pdb" / key / "App.pdb"));
    EXPECT_TRUE(offer.asked.empty()) << "the policy does not permit symbol servers";
}

TEST(SymbolCandidates, OffersNoPlaceTwiceAndStopsWhenAnswered) {
    offering offer;
    offer.elements = {rooted("app/bin"), rooted("app/bin")};
    const auto places = offer.of(L"App.pdb");
    EXPECT_EQ(std::set<path>(places.begin(), places.end()).size(), places.size());
    EXPECT_EQ(places.size(), 5u);
    EXPECT_EQ(offer.of(L"App.pdb", 2).size(), 2u);
}

TEST(SymbolCandidates, AsksSymbolServersOnlyWhenThePolicyPermits) {
    offering offer;
    offer.elements = {path("SRV*a*b"), path("cache*c")};
    offer.policy = policy_symbol_server;
    offer.answer = rooted("cache/App.pdb");
    EXPECT_THAT(offer.of(L"/_/App.pdb"), ::testing::Contains(rooted("cache/App.pdb")));
    EXPECT_THAT(offer.asked, ElementsAre(L"SRV*a*b", L"cache*c"));
    offer.asked.clear();
    EXPECT_EQ(offer.of(L"x\\App.pdb", 3).back(), rooted("cache/App.pdb"));
    EXPECT_THAT(offer.asked, ElementsAre(L"SRV*a*b"));
}

TEST(SymbolCandidates, OffersNothingForARecordWithoutFileName) {
    offering offer;
    offer.elements = {rooted("one")};
    EXPECT_TRUE(offer.of(L"").empty());
    EXPECT_TRUE(offer.of(L"/build/").empty());
}

}  // namespace
}  // namespace qv::profiler::pdb_server
