#include "qv/portable_executable/readers.h"

#include <gmock/gmock.h>

#include <sstream>
#include <type_traits>

#include "base/exception.h"
#include "core/stream/MemoryStreams.h"
#include "tests/support/builders/pe_builder.h"

namespace qv::portable_executable {
namespace {

using test::bytes;
using test::pe_builder;
using test::pe_image;
using test::pe_kind;
using test::poke;
using testing::ElementsAre;
using testing::IsEmpty;

const bytes metadata_block = test::byte_writer().text("BSJB").zeros(16).data();
constexpr GUID pdb_guid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

// The image begins where the stream stands.
image_data read(const bytes& file, std::int64_t begin = 0) {
    MemoryBlockStream stream(file);
    stream.Seek(SeekOrigin::Begin, begin);
    core_stream_adapter adapter(stream);
    image_data image;
    read_image_data(adapter, image);
    return image;
}

// The message, with the value that it carries.
std::string failure(const bytes& file) {
    std::ostringstream text;
    try {
        read(file);
    } catch (const exception& error) {
        text << error.what();
        for (const auto& any : error.items())
            std::visit(
                [&](const auto& item) {
                    if constexpr (std::is_unsigned_v<decltype(item.value)>) text << ' ' << std::hex << item.value;
                },
                any);
    }
    return text.str();
}

pe_builder managed(pe_kind kind = pe_kind::pe32_plus) {
    return pe_builder(kind).metadata(metadata_block);
}

TEST(ReadImageData, MetadataAndDebugEntriesAreRead) {
    for (const pe_kind kind : {pe_kind::pe32, pe_kind::pe32_plus}) {
        pe_builder builder = managed(kind).codeview(pdb_guid, 0xAABBCCDD, "a.pdb");
        builder.further_directories(2);
        const bytes file = builder.debug_entry(17, 0x100, 7, {1, 2}).build().data;
        const image_data image = read(test::byte_writer().zeros(13).append(file).data(), 13);
        EXPECT_EQ(image.metadata, metadata_block);
        ASSERT_EQ(image.debug_entries.size(), 2u);
        const image_debug_entry& codeview = image.debug_entries[0];
        EXPECT_EQ(codeview.Type, 2u);
        EXPECT_EQ(codeview.MinorVersion, 0x504D);
        EXPECT_EQ(codeview.TimeDateStamp, 0xAABBCCDD);
        EXPECT_EQ(codeview.data, test::codeview_data(pdb_guid, 1, "a.pdb"));
        EXPECT_EQ(image.debug_entries[1].Type, 17u);
        EXPECT_THAT(image.debug_entries[1].data, ElementsAre(1, 2));
    }
}

TEST(ReadImageData, LargeMetadataIsReadWhole) {
    bytes block(3'000'000);
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<unsigned char>(i % 251);
    poke(block, 0, metadata_signature, 4);
    EXPECT_EQ(read(pe_builder().metadata(block).build().data).metadata, block);
}

TEST(ReadImageData, OnlyEntriesThatLeadToSymbolsAreKept) {
    EXPECT_THAT(read(managed().build().data).debug_entries, IsEmpty());
    pe_image built = managed().debug_entry(16, 0, 0, {}).debug_entry(2, 1, 0, {}).debug_entry(2, 2, 0, {}).build();
    // The remainder of the directory is no entry.
    poke(built.data, built.directory(6) + 4, 2 * 28 + 27, 4);
    const auto entries = read(built.data).debug_entries;
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].MinorVersion, 1);
}

TEST(ReadImageData, EntryWhoseDataLiesInNoSectionIsKeptEmpty) {
    pe_image built = managed().debug_entry(2, 1, 0, {1, 2, 3, 4}).build();
    // The virtual size bounds the test, whatever the raw size says.
    poke(built.data, built.section_table + 8, built.debug_data[0] + 3 - 0x400, 4);
    const image_data image = read(built.data);
    ASSERT_EQ(image.debug_entries.size(), 1u);
    EXPECT_THAT(image.debug_entries[0].data, IsEmpty());
}

TEST(SectionRanges, OneSectionMustHoldAll) {
    image_sections sections;
    for (const auto& [begin, size] : {std::pair{100u, 50u}, {50u, 20u}, {60u, 30u}, {40u, 100u}, {0xFFFFFFF0u, 0x20u}})
        sections.push_back({{}, size, 0, 0, begin, 0, 0, 0, 0, 0});
    const section_ranges ranges(sections);
    for (const auto& [begin, size] : {std::pair{40u, 100u}, {95u, 45u}, {100u, 50u}, {0xFFFFFFFFu, 0x11u}})
        EXPECT_TRUE(ranges.hold(begin, size)) << begin;
    for (const auto& [begin, size] : {std::pair{39u, 1u}, {40u, 101u}, {99u, 50u}, {100u, 51u}, {0xFFFFFFFFu, 0x12u}})
        EXPECT_FALSE(ranges.hold(begin, size)) << begin;
    EXPECT_FALSE(section_ranges({}).hold(0, 1));
}

TEST(ReadImageData, OverlappingDebugDataCannotGrowBeyondTheFile) {
    pe_image built = managed().debug_entry(2, 0, 0, bytes(0x400)).debug_entry(2, 0, 0, {1}).build();
    for (const std::size_t at : {built.debug_directory, built.debug_directory + 28}) {
        poke(built.data, at + 16, built.data.size() - 0x400, 4);
        poke(built.data, at + 24, 0x400, 4);
    }
    EXPECT_EQ(failure(built.data), "Too large debug data");
}

TEST(ReadImageData, BrokenImagesAreRejected) {
    const pe_image good = managed().debug_entry(2, 1, 0, {1, 2, 3, 4}).build();
    const std::size_t file_header = good.nt_headers + 4;
    const std::size_t optional = good.optional_header;
    const std::size_t section = good.section_table;
    const std::size_t cor = good.cor_header;
    const std::size_t entry = good.debug_directory;
    const std::size_t cor_directory = good.directory(14);
    const std::size_t debug_directory = good.directory(6);
    constexpr const char* short_read = "No enought data to read";

    struct damage {
        std::size_t place;
        std::uint64_t value;
        unsigned width;
    };
    const struct {
        std::vector<damage> damages;
        const char* message;
    } cases[] = {
        {{{0, 0x5A4E, 2}}, "Invalid DOS header signature 5a4e"},
        {{{0, 0x454E, 2}}, "Unexpected DOS header signature 454e"},
        {{{0, 0x454C, 2}}, "Unexpected DOS header signature 454c"},
        {{{0x3C, 0x7FFFFFFF, 4}}, "Too large offset"},
        {{{0x3C, 0xFFFFFFFF, 4}}, "Negative offset"},
        {{{good.nt_headers, 0x4551, 4}}, "Invalid NT header signature 4551"},
        {{{file_header + 16, 1, 2}}, "Invalid option header size"},
        {{{file_header + 16, 239, 2}}, "Invalid 64-bit option header size"},
        {{{optional, 0x10B, 2}, {file_header + 16, 223, 2}}, "Invalid 32-bit option header size"},
        {{{optional, 0x107, 2}, {file_header + 16, 55, 2}}, "Invalid ROM option header size"},
        {{{optional, 0x107, 2}}, "Invalid optional header signature 107"},
        {{{optional, 0x20C, 2}}, "Invalid optional header signature 20c"},
        {{{good.directory_count, 0xFFFFFFFF, 4}}, short_read},
        {{{file_header + 2, 0xFFFF, 2}}, short_read},
        {{{cor_directory, 0, 8}}, "Invalid cor image directory"},
        {{{cor_directory + 4, 0, 4}}, "Invalid cor image directory"},
        {{{cor_directory, 0x100, 4}}, "Can't get cor image directory virtual address"},
        {{{cor_directory + 4, 0xFFFFFFFF, 4}}, "Can't get cor image directory virtual address"},
        {{{section + 8, 71, 4}}, "Can't get cor image directory virtual address"},
        // File offset 0.
        {{{section + 12, 0x1400, 4}, {section + 20, 0, 4}, {cor_directory, 0x1400, 4}},
         "Can't get cor image directory virtual address"},
        {{{cor, 76, 4}}, "Invalid cor header size, version 2.0 expected"},
        {{{cor + 8, 0, 4}}, "Invalid metadata image directory "},
        {{{cor + 12, 0, 4}}, "Invalid metadata image directory "},
        {{{cor + 12, 19, 4}}, "Too small metadata size"},
        {{{cor + 8, 0x100, 4}}, "Can't get metadata virtual address"},
        {{{section + 8, 0xF0000000, 4}, {cor + 12, 0xE0000000, 4}}, short_read},
        {{{good.metadata, 0x42534A43, 4}}, "Invalid metadata signature 42534a43"},
        {{{debug_directory, 0x100, 4}}, "Can't get debug data directory virtual address"},
        {{{section + 8, 0xF0000000, 4}, {debug_directory + 4, 0xE0000000, 4}}, short_read},
        {{{entry + 24, 0, 4}}, "RAW data pointer in image debug directory should be declared"},
        {{{section + 8, 0xF0000000, 4}, {entry + 16, 0xE0000000, 4}}, short_read},
    };
    for (const auto& each : cases) {
        bytes file = good.data;
        for (const auto& [place, value, width] : each.damages) poke(file, place, value, width);
        EXPECT_EQ(failure(file), each.message) << &each - cases;
    }
    for (const std::ptrdiff_t size : {0, 1, 63})
        EXPECT_EQ(failure(bytes(good.data.begin(), good.data.begin() + size)), short_read);
}

}  // namespace
}  // namespace qv::portable_executable
