#include "qv/portable_executable/readers.h"

#include <gmock/gmock.h>

#include <functional>
#include <sstream>
#include <type_traits>

#include "core/src/stream/MemoryBlockStream.h"
#include "qv/diagnostics/exception.h"
#include "tests/support/builders/failure.h"
#include "tests/support/builders/pe_builder.h"

namespace qv::portable_executable {
namespace {

using test::bytes;
using test::failure_of;
using test::pe_builder;
using test::pe_image;
using test::pe_kind;
using test::poke;
using testing::ElementsAre;
using testing::IsEmpty;

const bytes metadata_block = test::byte_writer().text("BSJB").zeros(20).data();
constexpr GUID pdb_guid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

image_data read(const bytes& file) {
    MemoryBlockStream stream(file);
    core_stream_adapter adapter(stream);
    image_data image;
    read_image_data(adapter, image);
    return image;
}

pe_builder managed(pe_kind kind = pe_kind::pe32_plus) {
    return pe_builder(kind).metadata(metadata_block);
}

class ImageKinds : public testing::TestWithParam<pe_kind> {};
INSTANTIATE_TEST_SUITE_P(Widths, ImageKinds, testing::Values(pe_kind::pe32, pe_kind::pe32_plus));

TEST_P(ImageKinds, MetadataAndDebugEntriesAreRead) {
    const image_data image = read(
        managed(GetParam()).codeview(pdb_guid, 0xAABBCCDD, "a.pdb").debug_entry(17, 0x100, 7, {1, 2}).build().data);
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

TEST_P(ImageKinds, FurtherDirectoriesMoveTheSectionTable) {
    EXPECT_EQ(read(managed(GetParam()).further_directories(2).build().data).metadata, metadata_block);
}

TEST(ReadImageOptionalHeader, DirectoriesBeyondSixteenAreFurtherOnes) {
    for (const unsigned count : {0u, 2u}) {
        const pe_image built = managed().further_directories(count).build();
        MemoryBlockStream stream(built.data);
        core_stream_adapter adapter(stream);
        image_header header{};
        read_image_header(adapter, header);
        IMAGE_FILE_HEADER file_header;
        read_image_file_header(adapter, header, file_header);
        image_optional_header optional_header{};
        read_image_optional_header(adapter, file_header, optional_header);
        EXPECT_EQ(optional_header.further_directories.size(), count);
    }
}

TEST(ReadImageData, ImageMayBeginAnywhereInTheStream) {
    const pe_image built = managed().debug_entry(2, 0, 0, {5}).build();
    const bytes shifted = test::byte_writer().zeros(13).append(built.data).data();
    MemoryBlockStream stream(shifted);
    stream.Seek(SeekOrigin::Begin, 13);
    core_stream_adapter adapter(stream);
    image_data image;
    read_image_data(adapter, image);
    EXPECT_EQ(image.metadata, metadata_block);
    EXPECT_THAT(image.debug_entries.at(0).data, ElementsAre(5));
}

TEST(ReadImageData, AbsentDebugDirectoryHasNoEntries) {
    EXPECT_THAT(read(managed().build().data).debug_entries, IsEmpty());
}

TEST(ReadImageData, OtherDebugTypesAreDropped) {
    const auto image =
        read(managed().debug_entry(16, 0, 0, {}).debug_entry(2, 1, 0, {}).debug_entry(13, 0, 0, {1}).build().data);
    ASSERT_EQ(image.debug_entries.size(), 1u);
    EXPECT_EQ(image.debug_entries[0].MinorVersion, 1);
}

TEST(ReadImageData, RemainderOfTheDebugDirectoryIsIgnored) {
    pe_image built = managed().debug_entry(2, 1, 0, {}).debug_entry(2, 2, 0, {}).build();
    poke(built.data, built.directory(6) + 4, 60, 4);
    EXPECT_EQ(read(built.data).debug_entries.size(), 2u);
}

TEST(ReadImageData, EntryWhoseDataLiesInNoSectionIsKeptEmpty) {
    pe_image built = managed().debug_entry(2, 1, 0, {1, 2, 3, 4}).build();
    // The virtual size bounds the test, whatever the raw size says.
    const std::size_t virtual_size = built.debug_data[0] + 3 - 0x400;
    poke(built.data, built.section_table + 8, virtual_size, 4);
    const image_data image = read(built.data);
    ASSERT_EQ(image.debug_entries.size(), 1u);
    EXPECT_THAT(image.debug_entries[0].data, IsEmpty());
}

TEST(SectionRanges, OneSectionMustHoldAll) {
    image_sections sections;
    for (const auto& [begin, size] : {std::pair{100u, 50u}, {50u, 20u}, {60u, 30u}, {40u, 100u}, {0xFFFFFFF0u, 0x20u}})
        sections.push_back({{}, size, 0, 0, begin, 0, 0, 0, 0, 0});
    const section_ranges ranges(sections);
    for (const auto& [begin, size] : {std::pair{40u, 100u}, {139u, 1u}, {100u, 50u}, {0xFFFFFFFFu, 0x11u}})
        EXPECT_TRUE(ranges.hold(begin, size)) << begin;
    for (const auto& [begin, size] : {std::pair{39u, 1u}, {40u, 101u}, {99u, 50u}, {100u, 51u}, {0xFFFFFFFFu, 0x12u}})
        EXPECT_FALSE(ranges.hold(begin, size)) << begin;
    EXPECT_FALSE(section_ranges({}).hold(0, 1));
}

struct broken_image {
    const char* name;
    std::function<void(pe_image&)> damage;
    const char* message;
};

void PrintTo(const broken_image& image, std::ostream* out) {
    *out << image.name;
}

class BrokenImages : public testing::TestWithParam<broken_image> {};

TEST_P(BrokenImages, AreRejected) {
    pe_image built = managed().debug_entry(2, 1, 0, {1, 2, 3, 4}).build();
    GetParam().damage(built);
    EXPECT_EQ(failure_of([&] { read(built.data); }), GetParam().message);
}

// A damage that overwrites `width` bytes at a place with a value.
template <class Place>
auto set(Place place, std::uint64_t value, unsigned width = 4) {
    return [=](pe_image& image) { poke(image.data, place(image), value, width); };
}

auto at(std::size_t offset) {
    return [=](const pe_image&) { return offset; };
}
auto file_header(std::size_t offset) {
    return [=](const pe_image& image) { return image.nt_headers + 4 + offset; };
}
auto optional_header(std::size_t offset) {
    return [=](const pe_image& image) { return image.optional_header + offset; };
}
auto directory(unsigned index, std::size_t offset = 0) {
    return [=](const pe_image& image) { return image.directory(index) + offset; };
}
auto cor_header(std::size_t offset) {
    return [=](const pe_image& image) { return image.cor_header + offset; };
}
auto debug_entry(std::size_t offset) {
    return [=](const pe_image& image) { return image.debug_directory + offset; };
}
auto section(std::size_t offset) {
    return [=](const pe_image& image) { return image.section_table + offset; };
}
auto truncate(std::size_t size) {
    return [=](pe_image& image) { image.data.resize(size); };
}

std::string case_name(const testing::TestParamInfo<broken_image>& item) {
    return item.param.name;
}

constexpr const char* short_read = "No enought data to read";

INSTANTIATE_TEST_SUITE_P(
    Headers, BrokenImages,
    testing::Values(broken_image{"Empty", truncate(0), short_read}, broken_image{"OneByte", truncate(1), short_read},
                    broken_image{"HalfADosHeader", truncate(63), short_read},
                    broken_image{"NoSignature", set(at(0), 0x5A4E, 2), "Invalid DOS header signature"},
                    broken_image{"Os2", set(at(0), 0x454E, 2), "Unexpected DOS header signature"},
                    broken_image{"Vxd", set(at(0), 0x454C, 2), "Unexpected DOS header signature"},
                    broken_image{"NewHeaderBehindTheEnd", set(at(0x3C), 0x7FFFFFFF), "Too large offset"},
                    broken_image{"NewHeaderBeforeTheBeginning", set(at(0x3C), 0xFFFFFFFF), "Negative offset"},
                    broken_image{"NoNtSignature", set(at(0x80), 0x4551), "Invalid NT header signature"},
                    broken_image{"NoOptionalHeader", set(file_header(16), 1, 2), "Invalid option header size"},
                    broken_image{"Short64", set(file_header(16), 239, 2), "Invalid 64-bit option header size"},
                    broken_image{"Short32",
                                 [](pe_image& image) {
                                     set(optional_header(0), 0x10B, 2)(image);
                                     set(file_header(16), 223, 2)(image);
                                 },
                                 "Invalid 32-bit option header size"},
                    broken_image{"ShortRom",
                                 [](pe_image& image) {
                                     set(optional_header(0), 0x107, 2)(image);
                                     set(file_header(16), 55, 2)(image);
                                 },
                                 "Invalid ROM option header size"},
                    broken_image{"Rom", set(optional_header(0), 0x107, 2), "Invalid optional header signature"},
                    broken_image{"UnknownMagic", set(optional_header(0), 0x20C, 2),
                                 "Invalid optional header signature"},
                    broken_image{"MoreDirectoriesThanBytes", set(optional_header(108), 0xFFFFFFFF), short_read},
                    broken_image{"MoreSectionsThanBytes", set(file_header(2), 0xFFFF, 2), short_read}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    CliHeader, BrokenImages,
    testing::Values(
        broken_image{"NativeImage", set(directory(14), 0, 8), "Invalid cor image directory"},
        broken_image{"NoSize", set(directory(14, 4), 0), "Invalid cor image directory"},
        broken_image{"InNoSection", set(directory(14), 0x100), "Can't get cor image directory virtual address"},
        broken_image{"SizeWraps", set(directory(14, 4), 0xFFFFFFFF), "Can't get cor image directory virtual address"},
        broken_image{"FileOffsetZero",
                     [](pe_image& image) {
                         set(section(12), 0x1400)(image);
                         set(section(20), 0)(image);
                         set(directory(14), 0x1400)(image);
                     },
                     "Can't get cor image directory virtual address"},
        broken_image{"OtherVersion", set(cor_header(0), 76), "Invalid cor header size, version 2.0 expected"},
        broken_image{"NoMetadataAddress", set(cor_header(8), 0), "Invalid metadata image directory "},
        broken_image{"NoMetadataSize", set(cor_header(12), 0), "Invalid metadata image directory "},
        broken_image{"SmallMetadata", set(cor_header(12), 19), "Too small metadata size"},
        broken_image{"MetadataInNoSection", set(cor_header(8), 0x100), "Can't get metadata virtual address"},
        broken_image{"MetadataBehindTheFile",
                     [](pe_image& image) {
                         set(section(8), 0xF0000000)(image);
                         set(cor_header(12), 0xE0000000)(image);
                     },
                     short_read},
        broken_image{"NoMetadataSignature", [](pe_image& image) { poke(image.data, image.metadata, 0x42534A43, 4); },
                     "Invalid metadata signature"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(DebugDirectory, BrokenImages,
                         testing::Values(broken_image{"InNoSection", set(directory(6), 0x100),
                                                      "Can't get debug data directory virtual address"},
                                         broken_image{"BehindTheFile",
                                                      [](pe_image& image) {
                                                          set(section(8), 0xF0000000)(image);
                                                          set(directory(6, 4), 0xE0000000)(image);
                                                      },
                                                      short_read},
                                         broken_image{"DataWithoutAddress", set(debug_entry(24), 0),
                                                      "RAW data pointer in image debug directory should be declared"},
                                         broken_image{"DataBehindTheFile",
                                                      [](pe_image& image) {
                                                          set(section(8), 0xF0000000)(image);
                                                          set(debug_entry(16), 0xE0000000)(image);
                                                      },
                                                      short_read}),
                         case_name);

// The item that a failure carries beside its message, as it is shown.
std::string shown_item(const bytes& file) {
    const auto show = [](const auto& item) -> std::string {
        std::ostringstream text;
        if constexpr (std::is_unsigned_v<decltype(item.value)>) text << item.name << ' ' << std::hex << item.value;
        return text.str();
    };
    try {
        read(file);
    } catch (const exception& error) {
        if (error.items().size() == 1) return std::visit(show, error.items()[0]);
    }
    return "none";
}

TEST(ReadImageData, SignatureFailuresCarryTheSignature) {
    const pe_image good = managed().build();
    const struct {
        std::size_t place;
        std::uint32_t value;
        unsigned width;
        const char* item;
    } cases[] = {
        {0, 0x1234, 2, "PE DOS header signature 1234"},
        {0, 0x454C, 2, "PE DOS header signature 454c"},
        {good.nt_headers, 0x12345678, 4, "PE NT header signature 12345678"},
        {good.optional_header, 0x20C, 2, "PE option header signature 20c"},
        {good.optional_header, 0x107, 2, "PE option header signature 107"},
        {good.metadata, 0x42534A43, 4, "PE COR section signature 42534a43"},
    };
    for (const auto& each : cases) {
        bytes damaged = good.data;
        poke(damaged, each.place, each.value, each.width);
        EXPECT_EQ(shown_item(damaged), each.item);
    }
}

TEST(ReadImageData, OverlappingDebugDataCannotGrowBeyondTheFile) {
    pe_builder builder = managed();
    for (int i = 0; i < 64; ++i) builder.debug_entry(2, 0, 0, {1});
    pe_image built = builder.build();
    for (std::size_t i = 0; i < 64; ++i) {
        poke(built.data, built.debug_directory + 28 * i + 16, built.data.size() - 0x400, 4);
        poke(built.data, built.debug_directory + 28 * i + 24, 0x400, 4);
    }
    EXPECT_EQ(failure_of([&] { read(built.data); }), "Too large debug data");
}

}  // namespace
}  // namespace qv::portable_executable
