#include "quorvex/common/guid.h"

#include <gtest/gtest.h>

namespace {

using namespace quorvex::common;

constexpr GUID sample = {0x7d3be11c, 0x9bd2, 0x4ca7, {0xa6, 0x26, 0x0c, 0x82, 0xb9, 0x39, 0x35, 0xa9}};

TEST(Guid, Texts) {
    EXPECT_EQ(to_string(sample), "{7d3be11c-9bd2-4ca7-a626-0c82b93935a9}");
    EXPECT_EQ(to_store_key(sample), L"7D3BE11C9BD24CA7A6260C82B93935A9");
    EXPECT_EQ(to_string(GUID{}), "{00000000-0000-0000-0000-000000000000}");
}

// The expected values come from a separate calculation with the published step of the hash.
TEST(Guid, HashCombinesBothHalvesInOrder) {
    EXPECT_EQ(guid_hash()(GUID{}), 0xcb34c5ae03d8f098u);
    EXPECT_EQ(guid_hash()(sample), 0xc0a0d65e0d8e24deu);
}

}  // namespace
