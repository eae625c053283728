// A whole conversation, byte for byte: the one that docs/protocol.md shows.
#include <gmock/gmock.h>

#include "pdb_client/library/scripted_stream_test_support.h"
#include "pdb_client/library/session.h"

namespace qv::profiler::pdb_client {
namespace {

using testing::ElementsAre;

TEST(Conversation, IsTheOneOfTheDocument) {
    scripted_stream server("d1 00  e0 00");
    const auto sent = [&] { return server.take_writes(); };
    session symbols(server, {14, {L"C:\\symbols"}});
    EXPECT_THAT(sent(), ElementsAre(hex("d0 10 1c e1 3b 7d d2 9b a7 4c a6 26 1c 82 b9 39 35 a9"),
                                    hex("e0 0d 0e 01 0a 'C:\\symbols'")));

    server.answer("30 03 01 00 01");
    constexpr GUID mvid = {0x01234567, 0x89ab, 0x4cde, {0x80, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}};
    EXPECT_EQ(symbols.load_module(L"C:\\app\\orders.dll", mvid).value(), 1u);
    EXPECT_THAT(sent(),
                ElementsAre(hex("30 23 01 11 'C:\\app\\orders.dll' 67 45 23 01 ab 89 de 4c 80 11 22 33 44 55 66 77")));

    server.answer("42 0f 02 00 03 00 00 00 00 01 00 00 00 2c 01 00 00");
    EXPECT_THAT(symbols.get_method_offsets(1, 0x06000005).value(), ElementsAre(0, 1, 300));
    EXPECT_THAT(sent(), ElementsAre(hex("42 03 02 01 04")));

    server.answer(
        "43 3f 03 00 03"
        " 02 00 00 00  02 00 00 00  02 00 00 00"
        " 0a 00 00 00  ee ef fe 00  0c 00 00 00"
        " 05 00 00 00  00 00 00 00  09 00 00 00"
        " 0a 00 00 00  ee ef fe 00  0d 00 00 00"
        " 06 00 00 00  00 00 00 00  1a 00 00 00");
    const auto ranges = symbols.get_method_ranges(1, 0x06000005);
    EXPECT_THAT(sent(), ElementsAre(hex("43 03 03 01 04")));
    EXPECT_THAT(ranges.value(),
                ElementsAre(source_range{2, 10, 5, 10, 6}, source_range{2, hidden_line, 0, hidden_line, 0},
                            source_range{2, 12, 9, 13, 26}));
    EXPECT_FALSE(ranges.value()[0].hidden());
    EXPECT_TRUE(ranges.value()[1].hidden());

    server.answer(
        "45 36 04 00 0e '/src/\xc3\x9c"
        "berg.cs'"
        " 14 ec 16 18 ff 5e aa 10 4d 87 f7 6f 49 63 83 34 60"
        " db eb 2a 06 7b 2f 0e 0d 67 8a 00 2c 58 7a 28 06 05 6c 3d ce");
    const auto with_checksum = symbols.get_document(1, 2);
    EXPECT_THAT(sent(), ElementsAre(hex("45 03 04 01 02")));
    EXPECT_EQ(with_checksum.value().url, L"/src/\u00dcberg.cs");
    EXPECT_EQ(quorvex::common::to_string(with_checksum.value().checksum_algorithm),
              "{ff1816ec-aa5e-4d10-87f7-6f4963833460}");
    EXPECT_EQ(with_checksum.value().checksum, hex("db eb 2a 06 7b 2f 0e 0d 67 8a 00 2c 58 7a 28 06 05 6c 3d ce"));

    server.answer("45 09 05 00 05 '/a.cs' 00");
    const auto without_checksum = symbols.get_document(1, 3);
    EXPECT_THAT(sent(), ElementsAre(hex("45 03 05 01 03")));
    EXPECT_EQ(without_checksum.value().url, L"/a.cs");
    EXPECT_TRUE(without_checksum.value().checksum.empty());

    server.answer("44 14 06 00 11 '{\"documents\":{ }}'");
    EXPECT_EQ(symbols.get_source_server_data(1).value(), hex("'{\"documents\":{ }}'"));
    EXPECT_THAT(sent(), ElementsAre(hex("44 02 06 01")));

    server.answer("42 14 07 12 'Unknown PDB module'");
    EXPECT_EQ(symbols.get_method_offsets(9, 0x06000001).error(), "Unknown PDB module");
    EXPECT_THAT(sent(), ElementsAre(hex("42 03 07 09 00")));

    server.answer("31 02 08 00  ff 02 09 00");
    EXPECT_TRUE(symbols.unload_module(1).ok());
    EXPECT_TRUE(symbols.quit().ok());
    EXPECT_THAT(sent(), ElementsAre(hex("31 02 08 01"), hex("ff 01 09")));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
