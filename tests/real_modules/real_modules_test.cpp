// Everything about modules that compilers wrote, asked as a profiler asks: load, then every method and every document.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <iostream>

#include "qv/text/path.h"
#include "qv/text/utf.h"
#include "tests/real_modules/open_symbol_source.h"
#include "tests/support/expected/compare.h"
#include "tests/support/expected/stage.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {
namespace {

namespace fs = boost::filesystem;

// The folder that the environment names, else one given relative to the source root.
fs::path folder_of(const char* variable, const char* below_source_root) {
    const char* named = std::getenv(variable);
    const fs::path folder = named != nullptr && *named != '\0' ? fs::path(named) : source_root() / below_source_root;
    return folder.lexically_normal().make_preferred();
}

// Holds all modules of a folder against their expected answers, over one connection.
class folder_check {
public:
    explicit folder_check(const fs::path& folder) {
        for (const auto& file : find_expected(folder)) {
            SCOPED_TRACE(text::to_utf8(text::to_wide(file)));
            try {
                check(load_expected(file));
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
        }
        std::cout << modules << " modules, " << total.methods << " methods, " << total.points << " points, "
                  << total.documents << " documents compared; " << without_symbols << " modules without symbols\n";
    }

    std::size_t modules = 0;
    std::size_t without_symbols = 0;
    comparison total;

private:
    void check(const expected_module& module) {
        if (module.format == "windows") return;
        const auto image = stage(module, staging_, std::to_string(modules + without_symbols));
        const auto id = source_->load(image, module.mvid);
        if (!module.match) {
            EXPECT_EQ(id, 0u) << "symbols were found where none belong to the image";
            ++without_symbols;
            return;
        }
        ASSERT_NE(id, 0u) << "no symbols were found";
        const auto result = compare(module, *source_, id);
        for (const auto& difference : result.differences) ADD_FAILURE() << difference;
        ++modules;
        total.methods += result.methods;
        total.points += result.points;
        total.documents += result.documents;
    }

    temporary_directory staging_;
    std::unique_ptr<symbol_source> source_ = open_symbol_source();
};

// QV_FIXTURES may name a folder of fixtures that were compiled afresh.
TEST(RealModules, FixturesAnswerAsExpected) {
    const folder_check check(folder_of("QV_FIXTURES", "tests/fixtures/modules"));
    EXPECT_GE(check.modules, 10u);
    EXPECT_GE(check.without_symbols, 2u);
    EXPECT_GE(check.total.points, 100u);
}

// Modules that others built, kept outside the project.
TEST(RealModules, CollectedModulesAnswerAsExpected) {
    const auto folder = folder_of("QV_TESTDATA", "../shared/testdata");
    if (!fs::is_directory(folder)) GTEST_SKIP() << "no collected modules: " << folder << " is not there";
    const folder_check check(folder);
    EXPECT_GT(check.total.points, 0u);
}

}  // namespace
}  // namespace qv::testing
