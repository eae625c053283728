#include "pdb_server/src/dsr/dsr_module_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "tests/support/com/fake_symbols.h"

namespace qv::profiler::pdb_server {
namespace {

using ::testing::ElementsAre;
using testing::fake_module;
using testing::fake_point;
using testing::fake_reader;
using ::testing::IsEmpty;

constexpr GUID sha256{0x8829D00F, 0x11B8, 0x4213, {0x87, 0x8B, 0x77, 0x0E, 0x85, 0x97, 0xAC, 0x16}};
constexpr std::uint32_t main_method = 0x06000001;
constexpr std::uint32_t other_method = 0x06000002;
constexpr std::uint32_t unknown_method = 0x06000003;
constexpr std::uint32_t hidden = 0xFEEFEE;

struct ranges {
    std::vector<std::uint32_t> documents, lines, columns, end_lines, end_columns;
};

class DsrModuleData : public ::testing::Test {
protected:
    DsrModuleData() {
        module.documents = {{L"C:\\a.cs", sha256, {1, 2, 3}}, {L"C:\\b.cs", GUID{}, {}}, {L"C:\\a.cs", sha256, {9}}};
        module.methods[main_method] = {{0, 10, 1, 10, 5, 0}, {3, hidden, 0, hidden, 0, 0}, {7, 20, 9, 19, 2, 1}};
        module.methods[other_method] = {{0, 1, 1, 1, 2, 2}, {1, 2, 1, 2, 2, std::nullopt}};
    }

    ~DsrModuleData() override { EXPECT_EQ(module.live, 0); }

    std::unique_ptr<dsr_module_data> open() {
        return std::make_unique<dsr_module_data>(GUID{}, com_hld<com::ISymUnmanagedReader>(new fake_reader(module)),
                                                 [this](void*) { ++module.freed; });
    }

    static std::vector<std::uint32_t> offsets(dsr_module_data& data, std::uint32_t token) {
        std::vector<std::uint32_t> result{99};
        data.get_method_offsets(token, result);
        return result;
    }

    static ranges ranges_of(dsr_module_data& data, std::uint32_t token) {
        ranges result{{99}, {99}, {99}, {99}, {99}};
        data.get_method_ranges(token, result.documents, result.lines, result.columns, result.end_lines,
                               result.end_columns);
        return result;
    }

    static std::string document(dsr_module_data& data, std::uint32_t id, std::wstring& url, GUID& algorithm,
                                std::vector<std::uint8_t>& checksum) {
        return test::message_of([&] { data.get_document(id, url, algorithm, checksum); });
    }

    fake_module module;
    std::wstring url;
    GUID algorithm{};
    std::vector<std::uint8_t> checksum;
};

TEST_F(DsrModuleData, PointsComeInTheReadersOrderAsTheyAre) {
    const auto data = open();
    EXPECT_THAT(offsets(*data, main_method), ElementsAre(0, 3, 7));
    const ranges found = ranges_of(*data, main_method);
    EXPECT_THAT(found.documents, ElementsAre(1, 1, 2));
    EXPECT_THAT(found.lines, ElementsAre(10, hidden, 20));
    EXPECT_THAT(found.columns, ElementsAre(1, 0, 9));
    EXPECT_THAT(found.end_lines, ElementsAre(10, hidden, 19));
    EXPECT_THAT(found.end_columns, ElementsAre(5, 0, 2));
}

TEST_F(DsrModuleData, OneUrlHasOneIdAndItsFirstDocument) {
    const auto data = open();
    EXPECT_THAT(ranges_of(*data, main_method).documents, ElementsAre(1, 1, 2));
    EXPECT_THAT(ranges_of(*data, other_method).documents, ElementsAre(1, 0));
    EXPECT_EQ(document(*data, 1, url, algorithm, checksum), "");
    EXPECT_EQ(url, L"C:\\a.cs");
    EXPECT_TRUE(IsEqualGUID(algorithm, sha256));
    EXPECT_THAT(checksum, ElementsAre(1, 2, 3));
    EXPECT_EQ(document(*data, 2, url, algorithm, checksum), "");
    EXPECT_TRUE(IsEqualGUID(algorithm, GUID{}));
    EXPECT_THAT(checksum, IsEmpty());
    EXPECT_EQ(document(*data, 3, url, algorithm, checksum), "Unknown PDB document");
}

TEST_F(DsrModuleData, AMethodThatTheReaderDoesNotGiveHasNoPoints) {
    const auto data = open();
    EXPECT_THAT(offsets(*data, unknown_method), IsEmpty());
    EXPECT_THAT(ranges_of(*data, unknown_method).end_columns, IsEmpty());
    module.results["GetMethod"] = com::e_sym_destroyed;
    EXPECT_THAT(offsets(*data, main_method), IsEmpty());
    EXPECT_THAT(ranges_of(*data, main_method).documents, IsEmpty());
}

TEST_F(DsrModuleData, CountsThatChangeBetweenCallsGiveWhatIsThere) {
    const auto data = open();
    module.claimed_points = 2;
    EXPECT_THAT(offsets(*data, main_method), ElementsAre(0, 3));
    EXPECT_THAT(ranges_of(*data, main_method).lines, ElementsAre(10, hidden));
    module.claimed_points = 3;
    module.given_points_less = 2;
    EXPECT_THAT(offsets(*data, main_method), ElementsAre(0));
    EXPECT_THAT(ranges_of(*data, main_method).documents, ElementsAre(1));
    module.claimed_points = 1000;
    module.given_points_less = 0;
    EXPECT_THAT(offsets(*data, main_method), ElementsAre(0, 3, 7));
    module.claimed_points = 0;
    EXPECT_THAT(offsets(*data, main_method), IsEmpty());
    EXPECT_THAT(ranges_of(*data, main_method).documents, IsEmpty());
}

TEST_F(DsrModuleData, TextsAndChecksumsOfAnyLengthAreTakenWhole) {
    module.documents[0].url = L"C:\\" + std::wstring(70000, L'x');
    module.documents[0].checksum.assign(5000, 7);
    const auto data = open();
    ranges_of(*data, main_method);
    EXPECT_EQ(document(*data, 1, url, algorithm, checksum), "");
    EXPECT_EQ(url, module.documents[0].url);
    EXPECT_EQ(checksum, module.documents[0].checksum);
}

TEST_F(DsrModuleData, AShorterAnswerThanAnnouncedIsTakenAsItIs) {
    module.claimed_url = 40;
    module.claimed_checksum = 40;
    const auto data = open();
    ranges_of(*data, main_method);
    EXPECT_EQ(document(*data, 1, url, algorithm, checksum), "");
    EXPECT_EQ(url, L"C:\\a.cs");
    EXPECT_THAT(checksum, ElementsAre(1, 2, 3));
}

TEST_F(DsrModuleData, EveryFailingCallHasItsText) {
    struct {
        const char* call;
        std::string message;
    } const cases[] = {
        {"GetSequencePointCount", "Can't get sequence point count"},
        {"GetSequencePoints", "Can't get sequence point count"},
        {"GetURL size", "Can't get document url"},
        {"GetURL", "Can't get document url"},
        {"GetCheckSumAlgorithmId", "Can't get document checksum algorithm id"},
        {"GetCheckSum size", "Can't get document checksum size"},
        {"GetCheckSum", "Can't get document checksum"},
        {"GetSourceServerData", "Can't get source server data"},
    };
    for (const auto& c : cases) {
        const auto data = open();
        module.results = {{c.call, E_ACCESSDENIED}};
        const auto failure = test::failure_of([&] {
            ranges_of(*data, main_method);
            data->get_document(1, url, algorithm, checksum);
            data->get_source_server_data(checksum);
        });
        EXPECT_EQ(failure.message, c.message) << c.call;
        EXPECT_EQ(failure.source, "pdb_server/src/pdb_processor_dsr");
        module.results.clear();
        EXPECT_THAT(ranges_of(*data, main_method).documents, ElementsAre(1, 1, 2)) << c.call;
    }
}

TEST_F(DsrModuleData, CountsWithoutDataBehindThemAreRefused) {
    const auto data = open();
    module.claimed_points = 0xFFFFFFFF;
    EXPECT_EQ(test::message_of([&] { offsets(*data, main_method); }), "Can't get sequence point count");
    EXPECT_EQ(test::message_of([&] { ranges_of(*data, main_method); }), "Can't get sequence point count");
    module.claimed_points.reset();
    module.claimed_url = 0xFFFFFFFF;
    EXPECT_EQ(test::message_of([&] { ranges_of(*data, main_method); }), "Can't get document url");
    module.claimed_url.reset();
    ranges_of(*data, main_method);
    module.claimed_checksum = 0xFFFFFFFF;
    EXPECT_EQ(document(*data, 1, url, algorithm, checksum), "Can't get document checksum size");
}

TEST_F(DsrModuleData, SourceServerDataIsCopiedAndGivenBack) {
    const auto data = open();
    checksum = {9};
    data->get_source_server_data(checksum);
    EXPECT_THAT(checksum, IsEmpty());
    EXPECT_EQ(module.freed, 0);
    module.source_server_data = {'S', 'R', 'C'};
    data->get_source_server_data(checksum);
    EXPECT_THAT(checksum, ElementsAre('S', 'R', 'C'));
    EXPECT_EQ(module.freed, 1);
    module.has_source_server = false;
    data->get_source_server_data(checksum);
    EXPECT_THAT(checksum, IsEmpty());
    module.has_source_server = true;
    module.results["GetSourceServerData"] = E_FAIL;
    EXPECT_EQ(test::message_of([&] { data->get_source_server_data(checksum); }), "Can't get source server data");
}

TEST_F(DsrModuleData, TheEndClosesTheFileAndNeverFails) {
    open();
    EXPECT_EQ(module.destroyed, 1);
    module.results["Destroy"] = E_FAIL;
    open();
    EXPECT_EQ(module.destroyed, 2);
    module.has_dispose = false;
    open();
    EXPECT_EQ(module.destroyed, 2);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
