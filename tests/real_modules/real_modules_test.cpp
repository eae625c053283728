// Everything about modules that compilers wrote, asked as a profiler asks: load, then every method and every document.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "tests/real_modules/folder_check.h"

namespace qv::testing {
namespace {

// QV_FIXTURES may name a folder of fixtures that were compiled afresh.
TEST(RealModules, FixturesAnswerAsExpected) {
    const folder_check check(folder_of("QV_FIXTURES", "tests/fixtures/modules"), pdb_kinds::portable_or_none);
    EXPECT_GE(check.modules, 10u);
    EXPECT_GE(check.without_symbols, 2u);
    EXPECT_GE(check.total.points, 100u);
}

// Modules that others built, kept outside the project.
TEST(RealModules, CollectedModulesAnswerAsExpected) {
    const auto folder = folder_of("QV_TESTDATA", "../shared/testdata");
    if (!boost::filesystem::is_directory(folder)) GTEST_SKIP() << "no collected modules: " << folder << " is not there";
    const folder_check check(folder, pdb_kinds::portable_or_none);
    EXPECT_GT(check.total.points, 0u);
}

}  // namespace
}  // namespace qv::testing
