#include "symbol_services/symbol_server/file_key.h"

#include <gtest/gtest.h>

namespace qv::symbol_store {
namespace {

TEST(IndexText, LeavesOutWhatIsZero) {
    constexpr GUID id = {0x0a1b2c3d, 0x4e5f, 0x6071, {0x82, 0x93, 0xa4, 0xb5, 0xc6, 0xd7, 0xe8, 0xf9}};
    EXPECT_EQ(format_index(id, 0xFFFFFFFF, 0), L"0A1B2C3D4E5F60718293A4B5C6D7E8F9FFFFFFFF");
    EXPECT_EQ(format_index(id, 0xA, 0), L"0A1B2C3D4E5F60718293A4B5C6D7E8F9A");
    EXPECT_EQ(format_index(id, 0, 0), L"0A1B2C3D4E5F60718293A4B5C6D7E8F9");
    EXPECT_EQ(format_index(0x1ABCDEFu, 0x2E000, 0), L"01ABCDEF2e000");
    EXPECT_EQ(format_index(0xFFFFFFFFu, 0xFFFFFFFF, 0x1F), L"FFFFFFFFffffffff1f");
}

}  // namespace
}  // namespace qv::symbol_store
