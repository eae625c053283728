// The same about modules with classic PDBs, through the symbol reader that is registered on this machine.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "tests/real_modules/folder_check.h"
#include "tests/support/expected/documents_by_name.h"
#include "tests/support/pdb_writer/sample_module.h"
#include "tests/support/server/symbol_binder.h"

namespace qv::testing {
namespace {

class ClassicModules : public ::testing::Test {
protected:
    void SetUp() override {
        if (!has_symbol_binder()) GTEST_SKIP() << "no reader of classic PDB files is registered";
    }
};

constexpr std::uint32_t hidden = 0xFEEFEE;

TEST_F(ClassicModules, WrittenOneAnswersAsWritten) {
    auto description = test::sample_pdb_description();
    description.named = {{"srcsrv", {'S', 'R', 'C'}}};
    const sample_module module(description);

    expected_module expected{};
    expected.method_rows = sample_module::method_rows;
    expected.source_server_data = {'S', 'R', 'C'};
    for (std::uint32_t row = 1; row <= description.files.size(); ++row) {
        const auto& file = description.files[row - 1];
        expected.documents[row] = {{file.name.begin(), file.name.end()}, file.algorithm, file.checksum};
    }
    expected.methods[0x06000001] = {
        {0, {1, 10, 5, 10, 6}}, {1, {1, 11, 9, 12, 20}}, {7, {1, hidden, 0, hidden, 0}}, {9, {1, 13, 5, 13, 6}}};
    expected.methods[0x06000002] = {{0, {1, 20, 5, 20, 6}}, {4, {2, 3, 1, 3, 40}}};
    expected.methods[0x06000004] = {{0, {2, 7, 5, 7, 6}}, {2, {2, 9, 5, 9, 6}}};

    const auto source = open_symbol_source();
    documents_by_name named(*source, expected);
    const auto id = named.load(module.image, sample_module::mvid);
    ASSERT_NE(id, 0u);
    const auto result = compare(expected, named, id);
    for (const auto& difference : result.differences) ADD_FAILURE() << difference;
    EXPECT_EQ(result.points, 8u);
}

TEST_F(ClassicModules, APdbOfAnotherBuildIsNone) {
    auto description = test::sample_pdb_description();
    const sample_module module(description);
    ++description.guid.Data1;
    sample_module::write_pdb(module.directory, description);
    EXPECT_EQ(open_symbol_source()->load(module.image, sample_module::mvid), 0u);
}

TEST_F(ClassicModules, CollectedOnesAnswerAsExpected) {
    const auto folder = folder_of("QV_TESTDATA", "../shared/testdata");
    if (!boost::filesystem::is_directory(folder)) GTEST_SKIP() << "no collected modules: " << folder << " is not there";
    const folder_check check(folder, pdb_kinds::classic);
    EXPECT_GT(check.total.points, 0u);
}

}  // namespace
}  // namespace qv::testing
