#include "tests/real_modules/folder_check.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "qv/text/path.h"
#include "qv/text/utf.h"
#include "tests/support/expected/documents_by_name.h"
#include "tests/support/expected/stage.h"

namespace qv::testing {
namespace {

bool is_classic(const expected_module& module) {
    return module.format == "windows";
}

}  // namespace

boost::filesystem::path folder_of(const char* variable, const char* below_source_root) {
    const char* named = std::getenv(variable);
    return named != nullptr && *named != '\0' ? boost::filesystem::path(named) : source_root() / below_source_root;
}

folder_check::folder_check(const boost::filesystem::path& folder, pdb_kinds kinds) {
    for (const auto& file : find_expected(folder)) {
        SCOPED_TRACE(text::to_utf8(text::to_wide(file)));
        try {
            const auto module = load_expected(file);
            if (is_classic(module) == (kinds == pdb_kinds::classic)) check(module);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }
    std::cout << modules << " modules, " << total.methods << " methods, " << total.points << " points, "
              << total.documents << " documents compared; " << without_symbols << " modules without symbols\n";
}

void folder_check::check(const expected_module& module) {
    const auto image = stage(module, staging_, std::to_string(modules + without_symbols));
    const auto id = source_->load(image, module.mvid);
    if (!module.match) {
        EXPECT_EQ(id, 0u) << "symbols were found where none belong to the image";
        ++without_symbols;
        return;
    }
    ASSERT_NE(id, 0u) << "no symbols were found";
    const auto result = compare_module(module, id);
    for (const auto& difference : result.differences) ADD_FAILURE() << difference;
    ++modules;
    total.methods += result.methods;
    total.points += result.points;
    total.documents += result.documents;
}

comparison folder_check::compare_module(const expected_module& module, std::uint32_t id) {
    if (!is_classic(module)) return compare(module, *source_, id);
    const auto expected = without_unnamed_documents(module);
    documents_by_name named(*source_, expected);
    return compare(expected, named, id);
}

}  // namespace qv::testing
