#include "qv/metadata/metadata.h"

#include <gtest/gtest.h>

#include "qv/metadata/module_identity.h"
#include "tests/support/builders/failure.h"
#include "tests/support/builders/metadata_builder.h"

namespace qv::metadata::detail_metadata {
namespace {

using test::byte_writer;
using test::bytes;
using test::failure_of;
using test::metadata_builder;
using test::poke;

constexpr GUID some_guid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

metadata_parser parse(const bytes& block) {
    return {block.size(), block.data()};
}

std::string parse_failure(const bytes& block) {
    return failure_of([&] { parse(block); });
}

// A root with these streams; each is given by its name, offset and size.
struct stream_header {
    std::string name;
    std::uint32_t offset;
    std::uint32_t size;
};

bytes root(const std::vector<stream_header>& streams, std::size_t tail = 64) {
    byte_writer out;
    out.text("BSJB").u16(1).u16(1).u32(0).u32(4).text("v").zeros(3).u16(0).u16(streams.size());
    for (const auto& item : streams) out.u32(item.offset).u32(item.size).text(item.name).u8(0).align(4);
    return out.zeros(tail).data();
}

TEST(MetadataRoot, BlockMustHoldTheSignature) {
    EXPECT_EQ(parse_failure({}), "End of region");
    bytes block = metadata_builder().build();
    EXPECT_EQ(parse_failure(bytes(block.begin(), block.begin() + 15)), "End of region");
    block[3] ^= 0x80;
    EXPECT_EQ(parse_failure(block), "Invalid metadata signature");
}

TEST(MetadataRoot, BlockBeyondTheReachOfOffsetsIsRejected) {
    EXPECT_EQ(failure_of([] { metadata_parser(std::uint64_t{1} << 32, nullptr); }), "Out of arent region");
}

TEST(MetadataRoot, VersionIsPaddedToFour) {
    for (const std::size_t length : {1u, 4u, 12u, 13u, 15u}) {
        std::string version(length, 'v');
        version.back() = '\0';
        const bytes block = metadata_builder().version(version).build();
        EXPECT_EQ(parse(block).version(), version.substr(0, length - 1)) << length;
    }
}

TEST(MetadataRoot, VersionMustFitAndEnd) {
    EXPECT_EQ(parse_failure(metadata_builder().version("").build()), "End of region");
    EXPECT_EQ(parse_failure(metadata_builder().version("vvvv").build()), "End of region");
    bytes block = metadata_builder().build();
    for (const std::uint32_t length : {0xFFFFFFFFu, 0xFFFFFFFDu, 0xFFFFFFF0u}) {
        poke(block, 12, length, 4);
        EXPECT_EQ(parse_failure(block), "Out of arent region");
    }
}

TEST(MetadataRoot, StreamHeadersMustFit) {
    const bytes whole = root({{"#Blob", 0, 0}, {"#~", 0, 0}}, 0);
    for (std::size_t size = 16; size < whole.size(); ++size) {
        const bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const std::string failure = parse_failure(cut);
        // The padding after the last name is not read.
        EXPECT_EQ(failure, size < 20                 ? "Out of arent region"
                           : size < whole.size() - 1 ? "End of region"
                                                     : "No #~ stream")
            << size;
    }
}

TEST(MetadataRoot, TableStreamMustBeThere) {
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("").build()), "No #~ stream");
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("").pdb(some_guid, 1).build()), "No #~ stream");
    EXPECT_EQ(parse_failure(root({{"#~", 0, 0}})), "No #~ stream");
    EXPECT_EQ(parse_failure(root({{"#~", 0, 23}})), "End of region");
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("#-").build()), "(no failure)");
}

TEST(MetadataRoot, OnlyKnownStreamsMustLieInside) {
    for (const char* name : {"#~", "#-", "#Strings", "#GUID", "#Blob", "#Pdb"})
        for (const auto& [offset, size] :
             {std::pair{0u, 1000u}, std::pair{0xFFFFFFF0u, 0x20u}, std::pair{8u, 0xFFFFFFFFu}})
            EXPECT_EQ(parse_failure(root({{name, offset, size}})), "Out of arent region") << name;
    for (const char* name : {"#US", "#JTD", "", "#Blobs", "#blob"})
        EXPECT_EQ(parse_failure(root({{name, 0, 1000}})), "No #~ stream") << name;
}

TEST(MetadataRoot, LaterStreamReplacesAnEarlierOne) {
    metadata_builder block;
    block.stream("#~", bytes(24)).add_rows(0x06, 3);
    EXPECT_EQ(parse(block.build()).row_count(0x06), 3u);
}

TEST(MetadataRoot, NameThatIsNoUtf8IsRejected) {
    EXPECT_EQ(parse_failure(root({{"#\x80", 0, 0}})), "Unexpected UTF8 slave symbol at master position");
    EXPECT_EQ(parse_failure(root({{"\xFE", 0, 0}})), "Invalid UTF8 master symbol");
}

// Headers of 12 bytes: offset, size and a name of four bytes, in which a zero byte may be part of a character.
TEST(MetadataRoot, NameIsWalkedToAZeroCharacterAndEndsAtItsZeroByte) {
    const auto failure = [](std::initializer_list<std::string_view> headers, unsigned char tail) {
        byte_writer out;
        out.text("BSJB").u16(1).u16(1).u32(0).u32(4).text("v").zeros(3).u16(0).u16(headers.size());
        for (const auto header : headers) out.text(header);
        return parse_failure(out.append(bytes(64, tail)).data());
    };
    using namespace std::string_view_literals;
    constexpr auto hiding = "ABCDEFGHx\xC2\0y"sv;
    EXPECT_EQ(failure({hiding, hiding, "ABCDEFGHab\0\0"sv}, 'z'), "No #~ stream");
    EXPECT_EQ(failure({hiding, hiding, "ABCDEFGH#~\0\0"sv}, 'z'), "Out of arent region");
    EXPECT_EQ(failure({hiding, hiding}, 'z'), "End of region");
    // The first walk steps over the byte at which the second one fails.
    EXPECT_EQ(failure({hiding, "ABCDEFG\xE0x\xC2\0\x80"sv}, 0), "Unexpected UTF8 slave symbol at master position");
}

TEST(MetadataTables, RowCountsMustBeThere) {
    bytes stream = metadata_builder().add_rows(0x00, 1).table_stream();
    stream.resize(27);
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("").stream("#~", stream).build()), "End of region");
}

TEST(MetadataTables, ExtraDataIsSkippedAndMustBeThere) {
    metadata_builder block;
    block.heap_sizes(0x40).add_row(0x30, {0x1234});
    EXPECT_EQ((accessor(parse(block.build())).get_row_count<md_Document>()), 1u);
    const bytes whole = block.build();
    const metadata_parser parser = parse(whole);
    EXPECT_EQ((accessor(parser).get_field_value<md_Document, fld_Name>(1).index), 0x1234u);

    const bytes missing = byte_writer().zeros(6).u8(0x40).zeros(17).data();
    EXPECT_EQ(parse_failure(metadata_builder().table_stream_name("").stream("#~", missing).build()), "End of region");
}

TEST(MetadataTables, RowsMustBeThere) {
    bytes stream = metadata_builder().add_rows(0x00, 1).table_stream();
    const auto with = [&](std::uint32_t count) {
        poke(stream, 24, count, 4);
        return metadata_builder().table_stream_name("").stream("#~", stream).build();
    };
    EXPECT_EQ(parse_failure(with(1)), "(no failure)");
    // Sizes that are small again when they wrap at 32 bits.
    for (const std::uint32_t count : {2u, 0x1999999Au, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(parse_failure(with(count)), "Out of arent region") << count;
}

TEST(MetadataTables, TablesWithoutASchemaTakeNoRoom) {
    bytes stream = metadata_builder().add_row(0x04, {0x11, 0x22, 0x33}).table_stream();
    // FieldPtr, and a table that no format defines.
    poke(stream, 8, 1u << 0x03 | 1u << 0x04, 4);
    poke(stream, 12, 1u << (0x3F - 32), 4);
    stream.insert(stream.begin() + 24, {5, 0, 0, 0});
    stream.insert(stream.begin() + 32, {7, 0, 0, 0});
    const bytes block = metadata_builder().table_stream_name("").stream("#~", stream).build();
    const metadata_parser parser = parse(block);
    EXPECT_EQ(parser.row_count(0x03), 5u);
    EXPECT_EQ(parser.row_count(0x3F), 7u);
    EXPECT_EQ((accessor(parser).get_field_value<md_Field, fld_Name>(1).index), 0x22u);
}

TEST(MetadataPdb, HeaderIsKept) {
    const bytes block = metadata_builder().pdb(some_guid, 0x0A0B0C0D, {{0x06, 70'000}, {0x2C, 3}}).build();
    const metadata_parser parser = parse(block);
    ASSERT_TRUE(parser.pdb());
    EXPECT_EQ(bytes(parser.pdb()->id.begin(), parser.pdb()->id.end()),
              byte_writer().guid(some_guid).u32(0x0A0B0C0D).data());
    EXPECT_EQ(parser.pdb()->referenced_rows[0x06], 70'000u);
    EXPECT_EQ(parser.pdb()->referenced_rows[0x2C], 3u);
    EXPECT_EQ(parser.row_count(0x06), 0u);
    EXPECT_FALSE(parse(metadata_builder().build()).pdb());
}

TEST(MetadataPdb, HeaderMustBeThere) {
    const bytes header = byte_writer().zeros(24).u64(1).u32(9).data();
    for (const std::size_t size : {0u, 31u, 32u, 35u}) {
        const bytes cut(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(parse_failure(metadata_builder().stream("#Pdb", cut).build()), "End of region") << size;
    }
}

TEST(MetadataHeaps, Guids) {
    metadata_builder builder;
    builder.guid({});
    builder.guid(some_guid);
    const bytes block = builder.build();
    const metadata_parser parser = parse(block);
    EXPECT_EQ(parser.get_stream_data(md_stream<guid_heap>{2}, false), some_guid);
    EXPECT_EQ(parser.get_stream_data(md_stream<guid_heap>{0}, true), GUID{});
    EXPECT_EQ(failure_of([&] { parser.get_stream_data(md_stream<guid_heap>{0}, false); }), "Zero #GUID stream index");
    for (const std::uint32_t index : {3u, 0x10000001u, 0xFFFFFFFFu})
        EXPECT_EQ(failure_of([&] { parser.get_stream_data(md_stream<guid_heap>{index}, true); }), "End of region");
}

TEST(MetadataHeaps, Blobs) {
    metadata_builder builder;
    const std::uint32_t good = builder.blob("text");
    const std::uint32_t long_one = builder.blob(std::string(300, 'x'));
    const std::uint32_t beyond = builder.raw_blob({0xDF, 0xFF, 0xFF, 0xFF});
    const bytes block = builder.build();
    const metadata_parser parser = parse(block);
    const auto blob = [&](std::uint32_t index) { return parser.get_stream_data(md_stream<blob_heap>{index}); };
    EXPECT_EQ(blob(good).read_text_utf8(), "text");
    EXPECT_EQ(blob(long_one).size(), 300u);
    EXPECT_EQ(blob(0).size(), 0u);
    EXPECT_EQ(failure_of([&] { blob(beyond); }), "Out of arent region");
    EXPECT_EQ(failure_of([&] { blob(0xFFFFFFFF); }), "End of region");
}

TEST(MetadataHeaps, Names) {
    metadata_builder builder;
    const std::uint32_t name = builder.string("Module.dll");
    const auto block = builder.build();
    const metadata_parser parser(block.size(), block.data());
    const auto text = [&](std::uint32_t index) { return parser.get_stream_data(md_stream<strings_heap>{index}); };
    EXPECT_EQ(text(name), "Module.dll");
    EXPECT_EQ(text(name + 7), "dll");
    EXPECT_EQ(text(0), "");
    EXPECT_EQ(failure_of([&] { text(0xFFFFFFFF); }), "End of region");
}

TEST(ModuleIdentity, IsRowOneOfTheModuleTable) {
    const module_identity identity = read_module_identity(test::image_metadata(some_guid, 5).build());
    EXPECT_EQ(identity.mvid, some_guid);
    EXPECT_EQ(identity.method_rows, 5u);
    EXPECT_EQ(read_module_identity(test::image_metadata(some_guid).heap_sizes(7).build()).mvid, some_guid);
}

TEST(ModuleIdentity, Failures) {
    EXPECT_EQ(failure_of([] { read_module_identity(metadata_builder().build()); }), "Too large table index");
    EXPECT_EQ(failure_of([] {
                  read_module_identity(metadata_builder().add_row(0, {0, 0, 1}).build());
              }),
              "End of region");
    EXPECT_EQ(failure_of([] { read_module_identity(metadata_builder().add_rows(0, 1).build()); }),
              "Zero #GUID stream index");
}

}  // namespace
}  // namespace qv::metadata::detail_metadata
