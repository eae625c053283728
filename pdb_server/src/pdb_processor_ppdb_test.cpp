#include "pdb_server/src/pdb_processor_ppdb.h"

#include <gmock/gmock.h>

#include "core/stream/MemoryStreams.h"
#include "diagnostics/exception_test_support.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;
using test::bytes;
using test::message_of;
using test::pe_builder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr GUID mvid = {0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};
constexpr GUID pdb_guid = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {13, 13, 13, 13, 13, 13, 13, 13}};
constexpr std::uint32_t stamp = 0x5EED5EED;

// A portable PDB that is known by the IL offset of its only point.
bytes pdb(unsigned char il_offset, const GUID& guid = pdb_guid, std::uint32_t pdb_stamp = stamp) {
    test::portable_pdb_builder builder(guid, pdb_stamp);
    builder.method(1, {0, il_offset, 0, 0});
    return builder.build();
}

class TryLoadModule : public ::testing::Test {
protected:
    path file(const char* name, const bytes& content) {
        return folder_.write(name, std::string(content.begin(), content.end()));
    }

    // Offers these files for every record that is asked about; returns the IL offset that tells which PDB was loaded,
    // 0 for none.
    std::uint32_t load(const pe_builder& builder, const std::vector<path>& files = {}) {
        const bytes content = builder.build().data;
        MemoryBlockStream stream(content);
        portable_executable::core_stream_adapter adapter(stream);
        portable_executable::image_data image;
        read_image_data(adapter, image);
        const auto module = try_load_module(
            mvid, image, [&](const std::wstring& recorded, const GUID& guid, const candidate_visitor& visit) {
                asked_.push_back(recorded);
                EXPECT_EQ(guid, pdb_guid);
                for (const auto& candidate : files) {
                    ++offered_;
                    if (visit(candidate)) return;
                }
            });
        if (!module) return 0;
        EXPECT_EQ(module->mvid, mvid);
        point_values offsets;
        module->get_method_offsets(0x06000001, offsets);
        return offsets.at(0);
    }

    static pe_builder managed() { return std::move(pe_builder().metadata(test::image_metadata(mvid).build())); }
    static pe_builder with_codeview() { return std::move(managed().codeview(pdb_guid, stamp, "C:\\x\\a.pdb")); }

    const testing::temporary_directory folder_;
    std::vector<std::wstring> asked_;
    unsigned offered_ = 0;
};

TEST_F(TryLoadModule, FirstEmbeddedPdbWins) {
    EXPECT_EQ(
        load(managed().codeview(pdb_guid, stamp, "a.pdb").debug_entry(17, 0, 0, {}).embedded(pdb(5)).embedded(pdb(6))),
        5u);
    EXPECT_THAT(asked_, IsEmpty());
}

TEST_F(TryLoadModule, FirstCandidateThatBelongsToTheImageWins) {
    const std::vector<path> files = {folder_.path() / "absent.pdb",
                                     folder_.path(),
                                     folder_.path() / "NUL",
                                     file("short", {'B', 'S', 'J', 'B'}),
                                     file("other", bytes(100, 'x')),
                                     file("other_guid", pdb(1, mvid)),
                                     file("other_stamp", pdb(2, pdb_guid, stamp + 1)),
                                     file("good", pdb(3)),
                                     file("late", pdb(4))};
    EXPECT_EQ(load(with_codeview(), {files.begin(), files.end() - 2}), 0u);
    EXPECT_EQ(load(with_codeview(), files), 3u);
    EXPECT_THAT(asked_, ElementsAre(L"C:\\x\\a.pdb", L"C:\\x\\a.pdb"));
    EXPECT_EQ(offered_, 7u + 8u);
}

TEST_F(TryLoadModule, MalformedPdbsFail) {
    const char* const other_metadata = "Metadata doesn't containt PDB information";
    const bytes image = test::image_metadata(mvid).build();
    EXPECT_EQ(message_of([&] { load(with_codeview().embedded(image)); }), other_metadata);
    EXPECT_EQ(message_of([&] { load(with_codeview(), {file("image", image)}); }), other_metadata);
    EXPECT_EQ(message_of([&] { load(with_codeview(), {file("cut", {'B', 'S', 'J', 'B', 1})}); }), "End of region");
}

TEST_F(TryLoadModule, OnlyRecordsOfPortablePdbsAreAskedAbout) {
    const bytes record = test::codeview_data(pdb_guid, 1, "p");
    bytes other_signature = record;
    other_signature[0] = 'N';
    const bytes other_age = test::codeview_data(pdb_guid, 2, "p");
    const path good = file("good", pdb(3));
    for (const auto& [minor, data] : std::vector<std::pair<std::uint16_t, bytes>>{
             {0, record}, {0x504D, {}}, {0x504D, {'R', 'S', 'D', 'S'}}, {0x504D, other_signature}, {0x504D, other_age}})
        EXPECT_EQ(load(managed().debug_entry(2, minor, stamp, data), {good}), 0u);
    EXPECT_THAT(asked_, IsEmpty());
    EXPECT_EQ(load(managed().debug_entry(2, 0, stamp, record).debug_entry(2, 0x504D, stamp, record), {good}), 3u);
}

TEST_F(TryLoadModule, RecordedPathEndsAtItsTerminatorOrWithTheEntry) {
    const bytes record = test::codeview_data(pdb_guid, 1, "\xC3\xA4/a.pdb");
    bytes padded = record;
    padded.insert(padded.end(), {'x', 0});
    for (const bytes& data :
         {padded, bytes(record.begin(), record.end() - 1), bytes(record.begin(), record.begin() + 24)})
        load(managed().debug_entry(2, 0x504D, stamp, data));
    EXPECT_THAT(asked_, ElementsAre(L"\u00E4/a.pdb", L"\u00E4/a.pdb", L""));
    EXPECT_EQ(message_of([&] { load(managed().codeview(pdb_guid, stamp, "\xC3")); }), "Invalid UTF8 slave symbol");
}

}  // namespace
}  // namespace qv::profiler::pdb_server
