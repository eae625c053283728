// The small parts of the reader, each on its own.
#include <gmock/gmock.h>

#include "symbol_services/classic_reader/failure_test_support.h"
#include "symbol_services/classic_reader/global_references.h"
#include "symbol_services/classic_reader/path_fold.h"
#include "symbol_services/classic_reader/pdb_info.h"
#include "symbol_services/classic_reader/position_index.h"
#include "symbol_services/classic_reader/token_map.h"
#include "tests/support/builders/bytes.h"

namespace qv::classic_reader {
namespace {

using test::byte_writer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(PathFold, IsLowerCaseWithBackslashes) {
    EXPECT_EQ(fold_path("C:/Code/FILE.cs"), "c:\\code\\file.cs");
    EXPECT_EQ(fold_path("[@`{~}]"), "[@`{~}]");
    EXPECT_EQ(fold_path("\xC3\x84\xC3\x9E\xC3\x97 \xC3\xBF"),
              "\xC3\xA4\xC3\xBE\xC3\x97 \xC3\xBF");                                // A-umlaut, thorn, times
    EXPECT_EQ(fold_path("\xC5\x81\xC5\xBD\xC4\x80"), "\xC5\x82\xC5\xBE\xC4\x81");  // L-stroke, Z-caron
    EXPECT_EQ(fold_path("\xCE\xA9\xD0\x96\xD0\x81"), "\xCF\x89\xD0\xB6\xD1\x91");  // omega, Cyrillic zhe and io
    EXPECT_EQ(fold_path("\xE2\x84\xAB\xC3"), "\xE2\x84\xAB\xC3");                  // beyond the table, and cut off
}

// Computed apart from this code, for names that real files were seen to keep in these buckets.
TEST(GlobalReferences, HashesNamesAsWritersDo) {
    EXPECT_EQ(hash_name("06000001"), 0x21242300u);
    EXPECT_EQ(hash_name("0600005f"), 0x762B94AFu);
    EXPECT_EQ(hash_name("abcdefg"), 0x646FCC68u);
    EXPECT_EQ(hash_name("abc"), 0x2024460Au);
    EXPECT_EQ(hash_name(""), 0x20240400u);
}

TEST(TokenMap, WithoutAStreamTokensStay) {
    const token_map map;
    EXPECT_EQ(map.to_image(0x06000007), 0x06000007u);
    EXPECT_THAT(map.to_pdb(0x06000007), ElementsAre(0x06000007u));
    for (const std::uint32_t other : {0x06000000u, 0x02000001u, 0u}) {
        EXPECT_EQ(map.to_image(other), 0u);
        EXPECT_THAT(map.to_pdb(other), IsEmpty());
    }
}

TEST(TokenMap, MovesDropsAndMergesRows) {
    const auto stream = byte_writer().u32(0).u32(3).u32(0).u32(1).u32(3).u32(0x01000002).u8(7).data();
    const token_map map(stream);
    EXPECT_EQ(map.to_image(0x06000001), 0x06000003u);
    EXPECT_EQ(map.to_image(0x06000002), 0u) << "dropped";
    EXPECT_EQ(map.to_image(0x06000005), 0u) << "no row number";
    EXPECT_EQ(map.to_image(0x06000006), 0u) << "beyond the map";
    EXPECT_THAT(map.to_pdb(0x06000003), ElementsAre(0x06000001u, 0x06000004u));
    EXPECT_THAT(map.to_pdb(0x06000001), ElementsAre(0x06000003u));
    EXPECT_THAT(map.to_pdb(0x06000002), IsEmpty());
}

TEST(NamedStreams, TakesEntriesWithoutFollowingTheirChains) {
    // Three entries: two good ones, and one whose name is outside the buffer.
    const auto stream = byte_writer()
                            .u32(10)
                            .text("/names")
                            .u8(0)
                            .text("abc")
                            .u32(3)
                            .u32(100)
                            .u32(2)
                            .u32(0x5)
                            .u32(0x80000000)
                            .u32(1)
                            .u32(0xFFFFFFFF)
                            .u32(0)
                            .u32(5)
                            .u32(10)
                            .u32(6)
                            .u32(7)
                            .u32(8)
                            .data();
    byte_cursor cursor(stream);
    const auto names = read_named_streams(cursor);
    EXPECT_THAT(names.all(), ElementsAre(std::pair("/names", 5u), std::pair("abc", 8u)));
    EXPECT_EQ(names.find("/NAMES"), 5u);
    EXPECT_EQ(names.find("ABC"), 8u);
    EXPECT_EQ(names.find("ab"), std::nullopt);
    EXPECT_EQ(names.find("abcd"), std::nullopt);
}

TEST(NamedStreams, CountsBeyondTheStreamAreRefused) {
    const std::pair<const char*, test::bytes> cases[] = {
        {"name buffer", byte_writer().u32(0xFFFFFFFF).data()},
        {"bit words", byte_writer().u32(0).u32(1).u32(1).u32(0x40000001).u32(1).data()},
        {"entries", byte_writer().u32(0).u32(1).u32(1).u32(1).u32(0xFFFFFFFF).u32(0).u32(0).u32(0).data()},
    };
    for (const auto& [name, stream] : cases) {
        SCOPED_TRACE(name);
        byte_cursor cursor(stream);
        EXPECT_EQ(failure_of([&] { read_named_streams(cursor); }), "Unexpected end of PDB data, 806d000e");
    }
}

TEST(PositionIndex, FindsMethodsAndLinesOfADocument) {
    const sequence_point outer[] = {{0, 1, 10, 1, 10, 2}, {1, 1, hidden_line, 0, hidden_line, 0}, {2, 1, 30, 1, 32, 2}};
    const sequence_point inner[] = {{0, 1, 20, 1, 20, 9}, {4, 2, 5, 1, 5, 9}};
    position_index index;
    index.add(0x06000001, outer);
    index.add(0x06000002, inner);
    index.finish();
    EXPECT_THAT(index.methods_at(1, 20), ElementsAre(0x06000002u, 0x06000001u));
    EXPECT_THAT(index.methods_at(1, 32), ElementsAre(0x06000001u));
    EXPECT_THAT(index.methods_at(1, 33), IsEmpty());
    EXPECT_THAT(index.methods_at(2, 5), ElementsAre(0x06000002u));
    EXPECT_EQ(index.closest_line(1, 11), 20u);
    EXPECT_EQ(index.closest_line(1, 30), 30u);
    EXPECT_EQ(index.closest_line(1, 31), std::nullopt);
    EXPECT_EQ(index.closest_line(0, 1), std::nullopt);
}

}  // namespace
}  // namespace qv::classic_reader
