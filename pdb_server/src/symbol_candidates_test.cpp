#include "pdb_server/src/symbol_candidates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/src/bridges/bridge_protocol.h"
#include "diagnostics/exception_test_support.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr GUID pdb_guid = {0x01234567, 0x89ab, 0xcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};

// Absolute on the system that the test runs on.
path rooted(const char* relative) {
#ifdef _WIN32
    return path("C:/") / relative;
#else
    return path("/") / relative;
#endif
}

class SymbolCandidates : public ::testing::Test {
protected:
    std::vector<path> offered(const std::wstring& recorded, std::size_t stop_after = 1000) {
        const path image = rooted("app/bin/App.dll");
        const platform_services services = {nullptr, [this](const std::wstring& parameters, const std::wstring& file,
                                                            const GUID& id, std::uint32_t age) {
                                                EXPECT_EQ(file, L"App.pdb");
                                                EXPECT_TRUE(id == pdb_guid);
                                                EXPECT_EQ(age, 0xFFFFFFFFu);
                                                asked.push_back(parameters);
                                                return answer;
                                            }};
        std::vector<path> places;
        symbol_candidates{image, elements, policy, services, stop}.offer(recorded, pdb_guid, [&](const path& place) {
            places.push_back(place);
            return places.size() == stop_after;
        });
        return places;
    }

    search_path_list elements;
    std::uint8_t policy = 0;
    stop_check stop;
    std::vector<std::wstring> asked;
    path answer;
};

TEST_F(SymbolCandidates, ComeInOrder) {
    elements = {rooted("one"), path("srv*x"), rooted("two")};
    const path key = "0123456789ABCDEF0123456789ABCDEFFFFFFFFF";
    EXPECT_THAT(
        offered(text::to_wide(rooted("build/App.pdb"))),
        ElementsAre(rooted("build/App.pdb"), rooted("app/bin") / "App.pdb",
                    rooted("app/bin") / "symbols" / "App.pdb",  //
                    rooted("one") / "App.pdb", rooted("one") / "symbols" / "App.pdb", rooted("one") / "dll" / "App.pdb",
                    rooted("one") / "symbols" / "dll" / "App.pdb",
                    rooted("one") / "App.pdb" / key / "App.pdb",  //
                    rooted("two") / "App.pdb", rooted("two") / "symbols" / "App.pdb", rooted("two") / "dll" / "App.pdb",
                    rooted("two") / "symbols" / "dll" / "App.pdb", rooted("two") / "App.pdb" / key / "App.pdb"));
    EXPECT_THAT(asked, IsEmpty()) << "the policy does not permit symbol servers";
}

TEST_F(SymbolCandidates, ComeOnceAndOnlyUntilAnswered) {
    policy = policy_symbol_server;
    elements = {rooted("app/bin"), path("srv*x"), rooted("app/bin"), path("srv*x")};
    const auto places = offered(text::to_wide(rooted("app/bin") / "App.pdb"));
    EXPECT_EQ(std::set<path>(places.begin(), places.end()).size(), places.size());
    EXPECT_EQ(places.size(), 5u);
    EXPECT_THAT(asked, ElementsAre(L"x"));
    EXPECT_EQ(offered(L"App.pdb", 2).size(), 2u);
}

TEST_F(SymbolCandidates, SymbolServersAreToldFromDirectories) {
    policy = policy_symbol_server;
    answer = rooted("cache/App.pdb");
    for (const char* element : {"srv*x", "SRV*x", "SymSrv*symsrv.dll*x", "cache*x"}) {
        elements = {element};
        EXPECT_EQ(offered(L"x\\App.pdb", 3).back(), answer);
        EXPECT_THAT(asked, ElementsAre(L"x"));
        asked.clear();
    }
    elements = {"cache*c", "symsrv*other.dll*x", "srv*x"};
    offered(L"App.pdb");
    EXPECT_THAT(asked, ElementsAre(L"c", L"c*x")) << "caches serve what stands to their right";
    asked.clear();
    elements = {"", "srv", "srv.d", "srvx*", " srv*", "c:\\srv*", "cache"};
    EXPECT_EQ(offered(L"_/App.pdb").size(), 2 + 5 * elements.size());
    EXPECT_THAT(asked, IsEmpty());
}

TEST_F(SymbolCandidates, ARecordWithoutFileNameHasNone) {
    elements = {rooted("one")};
    for (const wchar_t* recorded : {L"", L"/build/", L"D:\\a/b\\"}) EXPECT_THAT(offered(recorded), IsEmpty());
}

TEST_F(SymbolCandidates, AreNotSoughtOnceTheServerStops) {
    elements.assign(100, "srv*x");
    for (auto& element : elements) element += std::to_string(&element - elements.data());
    policy = policy_symbol_server;
    stop = [this] { return asked.size() == 3; };
    const auto failure = test::failure_of([&] { offered(L"App.pdb"); });
    EXPECT_EQ(failure.message, "The server is stopping");
    EXPECT_EQ(failure.source, "pdb_server/src/symbol_candidates");
    EXPECT_EQ(asked.size(), 3u);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
