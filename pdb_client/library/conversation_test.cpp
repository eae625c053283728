// A whole conversation, byte for byte: the one that docs/protocol.md shows.
#include <gmock/gmock.h>

#include "pdb_client/library/scripted_stream.h"
#include "pdb_client/library/session.h"

namespace qv::profiler::pdb_client {
namespace {

using testing::ElementsAre;

constexpr GUID mvid = {0x01234567, 0x89ab, 0x4cde, {0x80, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}};

struct packed_case {
    std::uint64_t value;
    const char* bytes;
};

TEST(ConversationValues, PackedIntegers) {
    constexpr packed_case cases[] = {{0, "00"},
                                     {5, "05"},
                                     {127, "7f"},
                                     {128, "80 80"},
                                     {300, "81 2c"},
                                     {16383, "bf ff"},
                                     {16384, "c0 00 40 00"},
                                     {536870911, "df ff ff ff"}};
    for (const packed_case& packed : cases) {
        MemoryStream stream;
        stream.WritePacked(packed.value);
        EXPECT_EQ(stream.bytes(), hex(packed.bytes));
    }
}

class Conversation : public testing::Test {
protected:
    Conversation() {
        server.answer("d1 00");
        server.answer("e0 00");
        symbols.emplace(server, session_options{14, {L"C:\\symbols"}});
        handshake = server.take_writes();
    }

    // Sends filler commands until the next request has this id.
    void next_id(unsigned id) {
        while (last_id + 1 < id) {
            ++last_id;
            server.answer("31 02 0" + std::to_string(last_id) + " 00");
            ASSERT_TRUE(symbols->unload_module(9).ok());
        }
        ++last_id;
        server.take_writes();
    }

    void expect_request(std::string_view text) { EXPECT_THAT(server.take_writes(), ElementsAre(hex(text))); }

    scripted_stream server;
    std::optional<session> symbols;
    std::vector<std::vector<unsigned char>> handshake;
    unsigned last_id = 0;
};

TEST_F(Conversation, HandshakeIsVersionThenOptions) {
    EXPECT_THAT(handshake, ElementsAre(hex("d0 10 1c e1 3b 7d d2 9b a7 4c a6 26 1c 82 b9 39 35 a9"),
                                       hex("e0 0d 0e 01 0a 'C:\\symbols'")));
}

TEST_F(Conversation, LoadModule) {
    server.answer("30 03 01 00 01");
    const auto module = symbols->load_module(L"C:\\app\\orders.dll", mvid);
    expect_request("30 23 01 11 'C:\\app\\orders.dll' 67 45 23 01 ab 89 de 4c 80 11 22 33 44 55 66 77");
    EXPECT_EQ(module.value(), 1u);
}

TEST_F(Conversation, MethodOffsets) {
    next_id(2);
    server.answer("42 0f 02 00 03 00 00 00 00 01 00 00 00 2c 01 00 00");
    const auto offsets = symbols->get_method_offsets(1, 0x06000005);
    expect_request("42 03 02 01 04");
    EXPECT_THAT(offsets.value(), ElementsAre(0, 1, 300));
}

TEST_F(Conversation, MethodRanges) {
    next_id(3);
    server.answer(
        "43 3f 03 00 03"
        " 02 00 00 00  02 00 00 00  02 00 00 00"
        " 0a 00 00 00  ee ef fe 00  0c 00 00 00"
        " 05 00 00 00  00 00 00 00  09 00 00 00"
        " 0a 00 00 00  ee ef fe 00  0d 00 00 00"
        " 06 00 00 00  00 00 00 00  1a 00 00 00");
    const auto ranges = symbols->get_method_ranges(1, 0x06000005);
    expect_request("43 03 03 01 04");
    EXPECT_THAT(ranges.value(),
                ElementsAre(source_range{2, 10, 5, 10, 6}, source_range{2, hidden_line, 0, hidden_line, 0},
                            source_range{2, 12, 9, 13, 26}));
    EXPECT_FALSE(ranges.value()[0].hidden());
    EXPECT_TRUE(ranges.value()[1].hidden());
}

TEST_F(Conversation, Document) {
    next_id(4);
    server.answer(
        "45 36 04 00 0e '/src/\xc3\x9c"
        "berg.cs'"
        " 14 ec 16 18 ff 5e aa 10 4d 87 f7 6f 49 63 83 34 60"
        " db eb 2a 06 7b 2f 0e 0d 67 8a 00 2c 58 7a 28 06 05 6c 3d ce");
    const auto found = symbols->get_document(1, 2);
    expect_request("45 03 04 01 02");
    EXPECT_EQ(found.value().url, L"/src/\u00dcberg.cs");
    EXPECT_EQ(quorvex::common::to_string(found.value().checksum_algorithm), "{ff1816ec-aa5e-4d10-87f7-6f4963833460}");
    EXPECT_EQ(found.value().checksum, hex("db eb 2a 06 7b 2f 0e 0d 67 8a 00 2c 58 7a 28 06 05 6c 3d ce"));
}

TEST_F(Conversation, DocumentWithoutChecksum) {
    next_id(5);
    server.answer("45 09 05 00 05 '/a.cs' 00");
    const auto found = symbols->get_document(1, 3);
    expect_request("45 03 05 01 03");
    EXPECT_EQ(found.value().url, L"/a.cs");
    EXPECT_TRUE(found.value().checksum.empty());
}

TEST_F(Conversation, SourceServerData) {
    next_id(6);
    server.answer("44 14 06 00 11 '{\"documents\":{ }}'");
    const auto data = symbols->get_source_server_data(1);
    expect_request("44 02 06 01");
    EXPECT_EQ(data.value(), hex("'{\"documents\":{ }}'"));
}

TEST_F(Conversation, QueryOfUnknownModuleIsAnsweredWithTheServersText) {
    next_id(7);
    server.answer("42 14 07 12 'Unknown PDB module'");
    const auto offsets = symbols->get_method_offsets(9, 0x06000001);
    expect_request("42 03 07 09 00");
    ASSERT_FALSE(offsets.ok());
    EXPECT_EQ(offsets.error(), "Unknown PDB module");
}

TEST_F(Conversation, UnloadModule) {
    next_id(8);
    server.answer("31 02 08 00");
    EXPECT_TRUE(symbols->unload_module(1).ok());
    expect_request("31 02 08 01");
}

TEST_F(Conversation, Quit) {
    next_id(9);
    server.answer("ff 02 09 00");
    EXPECT_TRUE(symbols->quit().ok());
    expect_request("ff 01 09");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
