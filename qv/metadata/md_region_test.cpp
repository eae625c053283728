#include "qv/metadata/md_region.h"

#include <gtest/gtest.h>

#include "tests/support/builders/bytes.h"
#include "tests/support/builders/failure.h"

namespace qv::metadata::detail_metadata {
namespace {

using test::byte_writer;
using test::bytes;
using test::failure_of;

md_region over(const bytes& data) {
    return {data.data(), static_cast<std::uint32_t>(data.size())};
}

TEST(MdRegion, ChildrenStayInside) {
    const bytes data(8);
    EXPECT_EQ(over(data).create_child(8, 0).size(), 0u);
    EXPECT_EQ(over(data).create_child(2, 6).data(), data.data() + 2);
    const std::pair<std::uint32_t, std::uint32_t> outside[] = {
        {0, 9}, {8, 1}, {9, 0}, {4, 0xFFFFFFFF}, {0xFFFFFFFF, 2}};
    for (const auto& [offset, size] : outside)
        EXPECT_EQ(failure_of([&] { over(data).create_child(offset, size); }), "Out of arent region");
}

TEST(MdRegion, ValuesAreLittleEndianAtAnyPosition) {
    const bytes data = {0xFF, 0x01, 0x02, 0x03, 0x04};
    std::uint32_t position = 1;
    EXPECT_EQ(over(data).read_value<unsigned int>(position), 0x04030201u);
    EXPECT_EQ(position, 5u);
    EXPECT_EQ(failure_of([&] { over(data).read_value<unsigned char>(position); }), "End of region");
    position = 0xFFFFFFFE;
    EXPECT_EQ(failure_of([&] { over(data).read_value<unsigned int>(position); }), "End of region");
}

TEST(MdRegion, CompressedIntegers) {
    struct {
        bytes data;
        std::uint32_t as_unsigned;
        std::int32_t as_signed;
    } const cases[] = {
        {{0x00}, 0, 0},
        {{0x01}, 1, -64},
        {{0x7F}, 0x7F, -1},
        {{0x7E}, 0x7E, 63},
        {{0x80, 0x01}, 1, -8192},
        {{0xBF, 0xFF}, 0x3FFF, -1},
        {{0xC0, 0x00, 0x00, 0x01}, 1, -0x10000000},
        {{0xDF, 0xFF, 0xFF, 0xFE}, 0x1FFFFFFE, 0x0FFFFFFF},
        {{0xFF, 0xFF, 0xFF, 0xFF}, 0x1FFFFFFF, -1},  // the three high bits of the lead are not looked at
    };
    for (const auto& item : cases) {
        std::uint32_t position = 0;
        EXPECT_EQ(over(item.data).read_compressed_unsigned(position), item.as_unsigned);
        EXPECT_EQ(position, item.data.size());
        position = 0;
        EXPECT_EQ(static_cast<std::int32_t>(over(item.data).read_compressed_signed(position)), item.as_signed);
    }
    for (const bytes& data : {bytes{}, bytes{0x80}, bytes{0xC0, 0, 0}}) {
        std::uint32_t position = 0;
        EXPECT_EQ(failure_of([&] { over(data).read_compressed_unsigned(position); }), "End of region");
    }
}

TEST(MdRegion, CharactersAreAsLongAsTheirLeadSays) {
    struct {
        unsigned char lead;
        unsigned length;
    } const cases[] = {{0x00, 1}, {0x7F, 1}, {0xC0, 2}, {0xDF, 2}, {0xE0, 3},
                       {0xF0, 4}, {0xF8, 5}, {0xFC, 6}, {0xFD, 6}};
    for (const auto& item : cases) {
        bytes data(item.length, 'x');  // what follows the lead is not looked at
        data[0] = item.lead;
        std::uint32_t position = 0;
        const unsigned char* next = nullptr;
        EXPECT_EQ(over(data).read_char_utf8(position, &next), data.data());
        EXPECT_EQ(next, data.data() + item.length);
        data.pop_back();
        position = 0;
        EXPECT_EQ(failure_of([&] { over(data).read_char_utf8(position); }), "End of region");
    }
}

TEST(MdRegion, BytesThatBeginNoCharacter) {
    for (const unsigned char lead : bytes{0x80, 0xBF})
        EXPECT_EQ(failure_of([&] {
                      over({lead, 0}).read_text_utf8();
                  }),
                  "Unexpected UTF8 slave symbol at master position");
    for (const unsigned char lead : bytes{0xFE, 0xFF})
        EXPECT_EQ(failure_of([&] { over({lead, 0}).read_text_utf8(); }), "Invalid UTF8 master symbol");
}

TEST(MdRegion, StringsEndAtACharacterThatIsZero) {
    const bytes data = byte_writer().text("ab").u8(0).text("cd").data();
    std::uint32_t position = 0;
    EXPECT_EQ(over(data).read_string_utf8(position), "ab");
    EXPECT_EQ(position, 3u);
    EXPECT_EQ(failure_of([&] { over(data).read_string_utf8(position); }), "End of region");
    EXPECT_EQ(over(data).read_text_utf8(), std::string_view("ab\0cd", 5));
    EXPECT_EQ(over({}).read_text_utf8(), "");
}

}  // namespace
}  // namespace qv::metadata::detail_metadata
