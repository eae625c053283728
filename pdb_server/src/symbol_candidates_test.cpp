#include "pdb_server/src/symbol_candidates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/bridge_protocol.h"
#include "diagnostics/exception_test_support.h"
#include "text/path.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace ::testing;
using boost::filesystem::path;

constexpr GUID pdb_guid = {0x01234567, 0x89ab, 0xcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};

const path root = "//host/share";  // absolute on every system

class SymbolCandidates : public Test {
protected:
    std::vector<path> offered(const std::wstring& recorded, std::size_t stop_after = 1000) {
        const path image = root / "app/bin/App.dll";
        const platform_services services = {nullptr, [this](const std::wstring& parameters, const std::wstring& file,
                                                            const GUID& id, std::uint32_t age) {
                                                EXPECT_EQ(file, L"App.pdb");
                                                EXPECT_TRUE(id == pdb_guid);
                                                EXPECT_EQ(age, 0xFFFFFFFFu);
                                                asked.push_back(parameters);
                                                return path();
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
};

TEST_F(SymbolCandidates, ComeInOrderUntilOneIsTaken) {
    elements = {root / "one", path("srv*x"), root / "two"};
    std::vector<path> expected = {root / "build/App.pdb", root / "app/bin" / "App.pdb",
                                  root / "app/bin" / "symbols" / "App.pdb"};
    for (const path& element : {elements[0], elements[2]})
        for (const char* place :
             {"", "symbols", "dll", "symbols/dll", "App.pdb/0123456789ABCDEF0123456789ABCDEFFFFFFFFF"})
            expected.push_back(element / path(place).make_preferred() / "App.pdb");
    const std::wstring recorded_path = text::to_wide(root / "build/App.pdb");
    EXPECT_EQ(offered(recorded_path), expected);
    for (std::size_t taken = 1; taken <= expected.size(); ++taken)
        EXPECT_EQ(offered(recorded_path, taken).size(), taken) << "nothing comes after the one that is taken";
    EXPECT_THAT(asked, IsEmpty()) << "the policy does not permit symbol servers";
    for (const wchar_t* recorded : {L"", L"/build/", L"D:\\a/b\\"})
        EXPECT_THAT(offered(recorded), IsEmpty()) << "no file name";
}

TEST_F(SymbolCandidates, ComeOnce) {
    policy = policy_symbol_server;
    elements = {root / "app/bin", path("srv*x"), root / "app/bin", path("srv*x")};
    const auto places = offered(text::to_wide(root / "app/bin" / "App.pdb"));
    EXPECT_EQ(std::set<path>(places.begin(), places.end()).size(), places.size());
    EXPECT_EQ(places.size(), 5u);
    EXPECT_THAT(asked, ElementsAre(L"x"));
}

TEST_F(SymbolCandidates, AreNotSoughtOnceTheServerStops) {
    elements = {"srv*1", "srv*2", "srv*3"};
    policy = policy_symbol_server;
    stop = [this] { return asked.size() == 3; };
    EXPECT_EQ(test::message_of([&] { offered(L"App.pdb"); }), "The server is stopping");
    EXPECT_THAT(asked, ElementsAre(L"1", L"2", L"3"));
}

}  // namespace
}  // namespace qv::profiler::pdb_server
