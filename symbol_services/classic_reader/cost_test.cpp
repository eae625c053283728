// What files cost that are small for what they make a careless reader do.
#include <gtest/gtest.h>

#include "base/work_counter.h"
#include "symbol_services/classic_reader/failure_test_support.h"
#include "symbol_services/classic_reader/pdb.h"
#include "tests/support/costly_files/costly_files.h"

namespace qv::classic_reader {
namespace {

// Asks everything, and everything again.
void ask(const pdb& file) {
    for (const auto token : file.methods())
        for (int i = 0; i < 2; ++i) failure_of([&] { file.points(token); });
    for (std::uint32_t index = 0; index < file.document_count(); ++index) {
        failure_of([&] { file.get_document(index); });
        failure_of([&] { file.find_document(file.document_url(index) + L"x"); });
    }
    failure_of([&] { file.closest_line(0, 1); });
    failure_of([&] { file.source_server_data(); });
}

struct cost {
    std::size_t size;
    std::uint64_t work;
};

cost measure(const test::costly_shape& shape, std::size_t size) {
    auto bytes = shape.make(size).pdb;
    const auto file_size = bytes.size();
    const auto before = work_done;
    ask(*pdb::open(std::move(bytes)));
    return {file_size, work_done - before};
}

TEST(Cost, GrowsWithTheFileAndNoFaster) {
    if (!work_is_counted) GTEST_SKIP() << "this build does not count work";
    for (const auto& shape : test::classic_costly_shapes()) {
        SCOPED_TRACE(shape.name);
        const auto half = measure(shape, shape.default_size / 32);
        const auto whole = measure(shape, shape.default_size / 16);
        EXPECT_LE(whole.work, half.work * 23 / 10);
        EXPECT_LE(whole.work, whole.size * 16);
    }
}

TEST(Cost, WhatIsLegalIsAnsweredInFull) {
    for (const auto& shape : test::classic_costly_shapes()) {
        const auto file = pdb::open(shape.make(1000).pdb);
        if (shape.name == "OverlappingFiles") {
            EXPECT_EQ(failure_of([&] { file->get_document(0); }), "") << "other entries of its table are broken";
        }
        if (shape.name == "DocumentsWithoutRecords") {
            EXPECT_EQ(file->get_document(999).checksum, std::vector<unsigned char>(16, 7));
            EXPECT_EQ(file->points(0x06000001).at(999).document, 999u);
        }
    }
}

}  // namespace
}  // namespace qv::classic_reader
