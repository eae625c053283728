#include "qv/metadata/md_region.h"

#include <gtest/gtest.h>

#include "tests/support/builders/bytes.h"
#include "tests/support/builders/failure.h"

namespace qv::metadata::detail_metadata {
namespace {

using test::bytes;
using test::failure_of;

md_region over(const bytes& data) {
    return {data.data(), static_cast<std::uint32_t>(data.size())};
}

TEST(MdRegion, NothingLeavesIt) {
    const bytes data(8);
    EXPECT_EQ(over(data).create_child(8, 0).size(), 0u);
    EXPECT_EQ(over(data).create_child(2, 6).data(), data.data() + 2);
    const std::pair<std::uint32_t, std::uint32_t> outside[] = {{0, 9}, {8, 1}, {9, 0}, {4, ~0u}, {~0u, 2}};
    for (const auto& [offset, size] : outside)
        EXPECT_EQ(failure_of([&, at = offset, bytes = size] { over(data).create_child(at, bytes); }),
                  "Out of arent region");
    for (std::uint32_t position : {5u, 8u, 9u, ~1u})
        EXPECT_EQ(failure_of([&] { over(data).read_value<unsigned int>(position); }), "End of region");
}

TEST(MdRegion, CompressedIntegers) {
    const struct {
        bytes data;
        std::uint32_t as_unsigned;
        std::int32_t as_signed;
    } cases[] = {
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
        position = 0;
        const md_region cut(item.data.data(), static_cast<std::uint32_t>(item.data.size() - 1));
        EXPECT_EQ(failure_of([&] { cut.read_compressed_unsigned(position); }), "End of region");
    }
}

}  // namespace
}  // namespace qv::metadata::detail_metadata
