#include "pdb_server/src/search_paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qv::profiler::pdb_server {
namespace {

using ::testing::ElementsAre;

std::vector<std::wstring> pieces_of(const search_path_list& elements) {
    std::vector<std::wstring> pieces;
    search_path_pieces source(elements);
    do pieces.push_back(source.next());
    while (!source.at_end());
    return pieces;
}

TEST(SearchPaths, LongListsComeInPiecesThatKnowTheCachesBeforeThem) {
    search_path_list many(2 * search_path_pieces::most_elements + 1, L"x");
    many[1] = L"CACHE*c";
    many[2] = L"cache*d";
    const std::size_t full = search_path_pieces::most_elements;
    const auto joined = [](std::size_t count) {
        std::wstring text = L"x";
        for (; count > 1; --count) text += L";x";
        return text;
    };
    EXPECT_THAT(pieces_of(many), ElementsAre(L"x;CACHE*c;cache*d;" + joined(full - 3),
                                             L"CACHE*c;cache*d;" + joined(full), L"CACHE*c;cache*d;x"));

    const std::wstring longest(search_path_pieces::most_characters, L'y'), half(longest.size() / 2, L'z');
    EXPECT_THAT(pieces_of({half, half, L"b", longest, L"c", L"cache*" + half, longest}),
                ElementsAre(half + L";" + half, L"b", longest, L"c;cache*" + half, longest));
}

}  // namespace
}  // namespace qv::profiler::pdb_server
