// What images and portable PDBs cost that are small and made to cost much: reading the image, loading its symbols and
// asking for them.
#include <gmock/gmock.h>

#include <map>

#include "base/work_counter.h"
#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/pdb_processor_ppdb.h"
#include "qv/portable_executable/readers.h"
#include "tests/support/costly_files/allocations.h"
#include "tests/support/costly_files/costly_files.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

struct cost {
    std::string outcome;
    std::uint64_t work;
    std::size_t memory;  // in one piece
    std::size_t size;    // of the files
};

// The symbols of the image, with the PDB beside it as the only place where one is looked for.
std::string load(const boost::filesystem::path& path) {
    const auto image = portable_executable::read_image_file(path);
    const auto module = try_load_module({}, image, [&](const auto& recorded, const auto&, const auto& visit) {
        EXPECT_LT(recorded.size(), 0x8000u) << "no system opens such a path";
        visit(boost::filesystem::path(path).replace_extension("pdb"));
    });
    if (!module) return "no symbols";
    std::wstring url;
    GUID algorithm;
    std::vector<std::uint8_t> checksum;
    module->get_document(1, url, algorithm, checksum);
    return "document";
}

cost cost_of(const test::costly_shape& shape, std::size_t size) {
    const auto files = shape.make(size);
    const testing::temporary_directory folder;
    const auto text = [](const test::bytes& content) { return std::string(content.begin(), content.end()); };
    const auto image = folder.write("costly.dll", text(files.image));
    if (!files.pdb.empty()) folder.write(test::costly_pdb_name, text(files.pdb));

    test::largest_allocation = 0;
    [[maybe_unused]] const std::uint64_t before = work_done;
    std::string outcome;
    const std::string failure = test::message_of([&] { outcome = load(image); });
    return {outcome.empty() ? failure : outcome, work_done - before, test::largest_allocation,
            files.image.size() + files.pdb.size()};
}

TEST(CostlyFiles, CostNoMoreThanTheyAreWorth) {
    // The size that is doubled, and how loading ends.
    const std::map<std::string, std::pair<std::size_t, const char*>> cases = {
        {"HiddenStreamNames", {1000, "document"}},
        {"EntriesInNoSection", {2000, "no symbols"}},
        {"EntriesOnOneData", {3000, "Too large debug data"}},
        {"EntriesOnOnePdb", {100, "Too many portable PDB records"}},
        {"LongRecordedPath", {40'000, "no symbols"}},
        {"EmbeddedGarbage", {100'000, "zlib error"}},
        {"EmbeddedVoid", {20, "Too large uncompressed portable PDB"}},
        {"DocumentOfLongParts", {1000, "Too long document name"}}};
    for (const auto& shape : test::portable_costly_shapes()) {
        SCOPED_TRACE(shape.name);
        const auto& [size, outcome] = cases.at(shape.name);
        const cost once = cost_of(shape, size);
        const cost twice = cost_of(shape, size * 2);
        EXPECT_THAT(once.outcome, ::testing::StartsWith(outcome));
        EXPECT_EQ(twice.outcome, once.outcome);
        EXPECT_LE(twice.memory, 8 * twice.size + (16u << 20));
        EXPECT_LE(twice.work, once.work * 9 / 4) << once.work;
        EXPECT_EQ(once.work != 0, work_is_counted);
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_server
