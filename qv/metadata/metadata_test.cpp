#include "qv/metadata/metadata.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "qv/metadata/module_identity.h"
#include "tests/support/builders/metadata_builder.h"

namespace qv::metadata::detail_metadata {
namespace {

using test::byte_writer;
using test::bytes;
using test::message_of;
using test::metadata_builder;
using test::poke;
using namespace std::string_view_literals;

constexpr GUID some_guid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
constexpr const char* outside = "Out of arent region";
constexpr const char* no_tables = "No #~ stream";

std::string parse_failure(const bytes& block) {
    return message_of([&] { metadata_parser(block.size(), block.data()); });
}

// How parsing ends with the first bytes of the block only.
std::string failure_of_first(std::size_t size, const bytes& block) {
    return parse_failure(bytes(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(size)));
}

// A root with these stream headers and 64 bytes of one value behind them.
bytes root(std::initializer_list<std::string_view> headers, unsigned char tail = 0) {
    byte_writer out;
    out.text("BSJB").u16(1).u16(1).u32(0).u32(4).text("v").zeros(3).u16(0).u16(headers.size());
    for (const auto header : headers) out.text(header);
    return out.append(bytes(64, tail)).data();
}

std::string header(std::string_view name, std::uint32_t offset, std::uint32_t size) {
    const bytes data = byte_writer().u32(offset).u32(size).text(name).u8(0).align(4).data();
    return {data.begin(), data.end()};
}

// A block whose table stream, or stream of another name, is this one.
bytes with_stream(const bytes& content, const char* name = "#~") {
    return metadata_builder().table_stream_name(name == "#~"sv ? "" : "#~").stream(name, content).build();
}

TEST(MetadataRoot, MustFitAndHaveItsSignature) {
    EXPECT_EQ(message_of([] { metadata_parser(std::uint64_t{1} << 32, nullptr); }), outside);
    const bytes whole = root({header("#Blob", 0, 0), header("#~", 0, 0)});
    const std::size_t end = whole.size() - 64;
    // The padding after the last name is not read.
    for (std::size_t size = 0; size <= end; ++size)
        EXPECT_EQ(failure_of_first(size, whole), size < 16        ? "End of region"
                                                 : size < 20      ? outside
                                                 : size < end - 1 ? "End of region"
                                                                  : no_tables);
    bytes other = whole;
    other[3] ^= 0x80;
    EXPECT_EQ(parse_failure(other), "Invalid metadata signature");
}

TEST(MetadataRoot, VersionIsPaddedToFourAndMustEnd) {
    for (const std::size_t length : {1u, 4u, 12u, 13u, 15u}) {
        std::string version(length, 'v');
        version.back() = '\0';
        const bytes block = metadata_builder().version(version).build();
        EXPECT_EQ(metadata_parser(block.size(), block.data()).version(), version.substr(0, length - 1)) << length;
    }
    EXPECT_EQ(parse_failure(metadata_builder().version("").build()), "End of region");
    EXPECT_EQ(parse_failure(metadata_builder().version("vvvv").build()), "End of region");
    bytes block = metadata_builder().build();
    for (const std::uint32_t length : {0xFFFFFFFFu, 0xFFFFFFFDu, 0xFFFFFFF0u}) {
        poke(block, 12, length, 4);
        EXPECT_EQ(parse_failure(block), outside);
    }
}

TEST(MetadataRoot, KnownStreamsMustLieInside) {
    for (const char* name : {"#~", "#-", "#Strings", "#GUID", "#Blob", "#Pdb"})
        for (const auto& [offset, size] : {std::pair{0u, 1000u}, {0xFFFFFFF0u, 0x20u}, {8u, 0xFFFFFFFFu}})
            EXPECT_EQ(parse_failure(root({header(name, offset, size)})), outside) << name;
    for (const char* name : {"#US", "#JTD", "", "#Blobs", "#blob"})
        EXPECT_EQ(parse_failure(root({header(name, 0, 1000)})), no_tables) << name;
    // Nothing, at the very end.
    EXPECT_EQ(parse_failure(root({header("#GUID", 20 + 4 + 16 + 64, 0)})), no_tables);
    EXPECT_EQ(parse_failure(root({header("#\x80", 0, 0)})), "Unexpected UTF8 slave symbol at master position");
    EXPECT_EQ(parse_failure(root({header("#~", 0, 23)})), "End of region");
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("").pdb(some_guid, 1).build()), no_tables);
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("#-").build()), "");
}

// A zero byte may be part of a character.
TEST(MetadataRoot, NameIsWalkedToAZeroCharacterAndEndsAtItsZeroByte) {
    constexpr auto hiding = "ABCDEFGHx\xC2\0y"sv;
    EXPECT_EQ(parse_failure(root({hiding, hiding, "ABCDEFGHab\0\0"sv}, 'z')), no_tables);
    EXPECT_EQ(parse_failure(root({hiding, hiding, "ABCDEFGH#~\0\0"sv}, 'z')), outside);
    EXPECT_EQ(parse_failure(root({hiding, hiding}, 'z')), "End of region");
    // The first walk steps over the byte at which the second one fails.
    EXPECT_EQ(parse_failure(root({hiding, "ABCDEFG\xE0x\xC2\0\x80"sv})),
              "Unexpected UTF8 slave symbol at master position");
}

TEST(MetadataTables, RowsMustBeThere) {
    bytes stream = metadata_builder().add_rows(0x00, 1).table_stream();
    EXPECT_EQ(parse_failure(with_stream(stream)), "");
    EXPECT_EQ(parse_failure(with_stream(bytes(stream.begin(), stream.begin() + 27))), "End of region");
    // Sizes that are small again when they wrap at 32 bits.
    for (const std::uint32_t count : {2u, 0x1999999Au, 0x80000000u, 0xFFFFFFFFu}) {
        poke(stream, 24, count, 4);
        EXPECT_EQ(parse_failure(with_stream(stream)), outside) << count;
    }
    // The extra data that the header announces.
    EXPECT_EQ(parse_failure(with_stream(byte_writer().zeros(6).u8(0x40).zeros(17).data())), "End of region");
}

TEST(MetadataTables, WithoutASchemaTakeNoRoom) {
    metadata_builder fields;
    fields.heap_sizes(0x40);
    bytes stream = fields.add_row(0x04, {0x11, 0x22, 0x33}).table_stream();
    // FieldPtr, and a table that no format defines.
    poke(stream, 8, 1u << 0x03 | 1u << 0x04, 4);
    poke(stream, 12, 1u << (0x3F - 32), 4);
    stream.insert(stream.begin() + 24, {5, 0, 0, 0});
    stream.insert(stream.begin() + 32, {7, 0, 0, 0});
    // A later stream of the same name counts.
    metadata_builder builder;
    const bytes block = builder.table_stream_name("").stream("#~", bytes(24)).stream("#~", stream).build();
    const metadata_parser parser(block.size(), block.data());
    EXPECT_EQ(parser.row_count(0x03), 5u);
    EXPECT_EQ(parser.row_count(0x3F), 7u);
    EXPECT_EQ((accessor(parser).get_field_value<md_Field, fld_Name>(1).index), 0x22u);
}

TEST(MetadataPdb, HeaderMustBeThere) {
    const bytes header = byte_writer().zeros(24).u64(1).u32(9).data();
    for (const std::ptrdiff_t size : {0, 31, 32, 35})
        EXPECT_EQ(parse_failure(with_stream(bytes(header.begin(), header.begin() + size), "#Pdb")), "End of region");
}

TEST(MetadataHeaps, GuidsMustBeThere) {
    metadata_builder builder;
    builder.guid({});
    builder.guid(some_guid);
    const bytes block = builder.build();
    const metadata_parser parser(block.size(), block.data());
    EXPECT_EQ(parser.get_stream_data(md_stream<guid_heap>{2}, false), some_guid);
    for (const std::uint32_t index : {3u, 0x10000001u, 0xFFFFFFFFu})
        EXPECT_EQ(message_of([&] { parser.get_stream_data(md_stream<guid_heap>{index}, true); }), "End of region");
}

TEST(ModuleIdentity, IsRowOneOfTheModuleTable) {
    for (const unsigned char heap_sizes : bytes{0, 7}) {
        metadata_builder builder = test::image_metadata(some_guid, 5);
        builder.heap_sizes(heap_sizes);
        const auto identity = read_module_identity(builder.build());
        EXPECT_EQ(identity.mvid, some_guid);
        EXPECT_EQ(identity.method_rows, 5u);
    }
    EXPECT_EQ(message_of([] { read_module_identity(metadata_builder().build()); }), "Too large table index");
    EXPECT_EQ(message_of([] { read_module_identity(metadata_builder().add_rows(0, 1).build()); }),
              "Zero #GUID stream index");
}

}  // namespace
}  // namespace qv::metadata::detail_metadata
