#include "tests/support/expected/stage.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>

namespace qv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = boost::filesystem;

std::string record(const std::string& path) {
    return "RSDS" + std::string(20, '\1') + path + '\0';
}

TEST(RecordedPdbNames, BothSlashesSeparateAndNamesAreGivenOnce) {
    EXPECT_THAT(recorded_pdb_names("MZ.." + record("C:\\a/b\\one.pdb") + record("/src/two.pdb") + record("one.pdb")),
                ElementsAre("one.pdb", "two.pdb"));
}

TEST(RecordedPdbNames, WhatIsNoRecordIsPassedOver) {
    EXPECT_THAT(recorded_pdb_names(""), IsEmpty());
    EXPECT_THAT(recorded_pdb_names("RSDS"), IsEmpty());
    EXPECT_THAT(recorded_pdb_names(record("one.txt")), IsEmpty());
    EXPECT_THAT(recorded_pdb_names("RSDS" + std::string(20, '\1') + "endless.pdb"), IsEmpty());
}

class Stage : public ::testing::Test {
protected:
    Stage() {
        module.image = directory.path() / "from" / "A.dllx";
        module.format = "portable";
    }

    std::vector<std::string> stage_and_list() {
        const auto copy = stage(module, directory, "to");
        EXPECT_TRUE(copy.is_absolute());
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory.path() / "to"))
            names.push_back(entry.path().filename().string() + "=" + read_file(entry.path()));
        std::sort(names.begin(), names.end());
        return names;
    }

    temporary_directory directory;
    expected_module module{};
};

TEST_F(Stage, ThePdbGetsTheNamesThatTheImageRecords) {
    const auto image = record("C:\\obj\\B.pdb") + record("C.pdb");
    directory.write("from/A.dllx", image);
    directory.write("from/A.pdbx", "the pdb");
    EXPECT_THAT(stage_and_list(), ElementsAre("A.dllx=" + image, "B.pdb=the pdb", "C.pdb=the pdb"));
}

TEST_F(Stage, AnEmbeddedPdbNeedsNoFile) {
    module.embedded = true;
    directory.write("from/A.dllx", record("B.pdb"));
    EXPECT_THAT(stage_and_list(), ElementsAre("A.dllx=" + record("B.pdb")));
}

TEST_F(Stage, AMissingPdbOrRecordIsAnError) {
    directory.write("from/A.dllx", record("B.pdb"));
    EXPECT_THROW(stage(module, directory, "to"), std::runtime_error);
    directory.write("from/A.pdb", "the pdb");
    EXPECT_NO_THROW(stage(module, directory, "to"));
    directory.write("from/A.dllx", "no record");
    EXPECT_THROW(stage(module, directory, "to"), std::runtime_error);
}

}  // namespace
}  // namespace qv::testing
