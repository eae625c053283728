#include "pdb_server/src/image_identity.h"

#include <gtest/gtest.h>

#include "base/work_counter.h"
#include "diagnostics/exception_test_support.h"
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr GUID mvid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

// The metadata has a megabyte that tells nothing before its heaps; the CodeView data follows it.
test::pe_image large_image() {
    return test::pe_builder()
        .metadata(test::image_metadata(mvid, 3).stream("#US", test::bytes(1 << 20)).build())
        .codeview({}, 7, "a.pdb")
        .build();
}

TEST(ImageIdentity, IsReadFromSomePagesOfTheMetadata) {
    const auto data = large_image().data;
    const testing::temporary_directory folder;
    const auto path = folder.write("large.dll", std::string(data.begin(), data.end()));
    [[maybe_unused]] const auto before = work_done;
    portable_executable::image_data image;
    EXPECT_EQ(read_image_mvid(path, image), mvid);
    EXPECT_EQ(image.debug_entries.at(0).TimeDateStamp, 7u);
    EXPECT_LT(work_done - before, 100'000u);
}

// Also where nothing of what is missing would have been looked at.
TEST(ImageIdentity, IsThatOfNoImageThatEndsWithinItsMetadata) {
    const auto built = large_image();
    for (const std::size_t size : {built.metadata + 2, built.metadata + (1 << 20)}) {
        const testing::temporary_directory folder;
        const auto path = folder.write(
            "cut.dll", std::string(built.data.begin(), built.data.begin() + static_cast<std::ptrdiff_t>(size)));
        portable_executable::image_data image;
        EXPECT_EQ(test::message_of([&] { read_image_mvid(path, image); }), "No enought data to read") << size;
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_server
