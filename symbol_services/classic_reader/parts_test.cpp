// The small parts of the reader, each on its own.
#include <gmock/gmock.h>

#include <thread>

#include "symbol_services/classic_reader/failure_test_support.h"
#include "symbol_services/classic_reader/global_references.h"
#include "symbol_services/classic_reader/lazy.h"
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
    // A-umlaut, thorn, times; L-stroke, Z-caron; omega, zhe; A with dot below, alpha with tonos, Armenian ayb,
    // Y-diaeresis, S-comma, ghe with upturn; a letter that grows; full-width A.
    EXPECT_EQ(fold_path("[@`{~}]AZ/\u00C4\u00DE\u00D7\u0141\u017D\u03A9\u0416"),
              "[@`{~}]az\\\u00E4\u00FE\u00D7\u0142\u017E\u03C9\u0436");
    EXPECT_EQ(fold_path("\u1EA0\u0386\u0531\u0178\u0218\u0490\u023A\uFF21"),
              "\u1EA1\u03AC\u0561\u00FF\u0219\u0491\u2C65\uFF41");
    // What is no text stays: cut off, overlong, a surrogate, a lone continuation.
    for (const std::string other : {"\xE1\xBA", "\xC1\x81", "\xE0\x81\x81", "\xED\xA0\x80", "\x80", "\xF8\x81"})
        EXPECT_EQ(fold_path(other + "A"), other + "a");
}

// Computed apart from this code, for names that real files were seen to keep in these buckets.
TEST(GlobalReferences, HashesNamesAsWritersDo) {
    EXPECT_EQ(hash_name("06000001"), 0x21242300u);
    EXPECT_EQ(hash_name("0600005f"), 0x762B94AFu);
    EXPECT_EQ(hash_name("abcdefg"), 0x646FCC68u);
    EXPECT_EQ(hash_name(""), 0x20240400u);
}

TEST(TokenMap, MovesDropsAndMergesRows) {
    const auto stream = byte_writer().u32(0).u32(3).u32(0).u32(1).u32(3).u32(0x01000002).u8(7).data();
    const token_map map(stream);
    const std::uint32_t images[] = {0x06000003, 0, 0x06000001, 0x06000003, 0, 0};  // the last two: no row, no entry
    for (std::uint32_t row = 1; row <= 6; ++row) EXPECT_EQ(map.to_image(0x06000000 | row), images[row - 1]) << row;
    EXPECT_EQ(map.to_image(0x0A000001), 0u) << "no method";
    EXPECT_THAT(map.to_pdb(0x06000003, 9), ElementsAre(0x06000001u, 0x06000004u));
    EXPECT_THAT(map.to_pdb(0x06000001, 9), ElementsAre(0x06000003u));
    EXPECT_THAT(map.to_pdb(0x06000002, 9), IsEmpty());
}

TEST(NamedStreams, TakesEntriesWithoutFollowingTheirChains) {
    // Good ones, one for a place that is taken, one into the middle of a name, and one outside the buffer.
    byte_writer stream;
    stream.u32(10).text("/names").u8(0).text("Abc").u32(5).u32(100).u32(2).u32(0x15).u32(0x80000001).u32(1);
    stream.u32(0xFFFFFFFF).u32(0).u32(5).u32(10).u32(6).u32(7).u32(8).u32(7).u32(9).u32(2).u32(3);
    byte_cursor cursor(stream.data());
    const auto names = read_named_streams(cursor);
    EXPECT_THAT(names.all(), ElementsAre(std::pair("/names", 5u), std::pair("Abc", 8u)));
    EXPECT_EQ(names.find("ABC"), 8u);
    EXPECT_EQ(names.find("ab"), std::nullopt);
    EXPECT_EQ(names.find("abcd"), std::nullopt);
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

// Those who wait for the one that fails are woken, and one of them makes the value.
TEST(Lazy, ThreadsThatWaitTakeOver) {
    const lazy<int> value;
    std::atomic<int> tries = 0, answers = 0;
    const auto make = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return ++tries < 3 ? throw std::bad_alloc() : 7;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([&] { failure_of([&] { answers += value.get(make) == 7; }); });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(tries, 3);
    EXPECT_EQ(answers, 6);
}

}  // namespace
}  // namespace qv::classic_reader
