// PDB files that compilers wrote, held against the answers that are known for them.
#include <gtest/gtest.h>

#include "qv/portable_executable/image_file.h"
#include "qv/text/path.h"
#include "symbol_services/classic_reader/locate.h"
#include "tests/support/expected/expected.h"

namespace qv::classic_reader {
namespace {

namespace fs = boost::filesystem;

pdb_search search_beside(const fs::path& image) {
    pdb_search search{.image = image, .records = {}, .search_path = {}, .policy = search_reference_path, .server = {}};
    for (const auto& entry : portable_executable::read_image_file(image).debug_entries)
        if (auto record = parse_codeview(entry.data)) search.records.push_back(std::move(*record));
    return search;
}

testing::answers answers_of(const fs::path& image) {
    const auto file = locate_pdb(search_beside(image)).file;
    testing::answers result;
    result.set_source_data(file->source_server_data());
    for (const auto token : file->methods())
        for (const auto& point : file->points(token)) {
            const auto document = file->get_document(point.document);
            result.add_point(token, point.il_offset, document.url, point.start_line, point.start_column, point.end_line,
                             point.end_column);
            result.add_document(0, document.url, document.checksum_algorithm, document.checksum);
        }
    return result;
}

std::wstring build_name(const testing::expected_module& module) {
    const auto folder = text::to_wide(module.image.parent_path().filename());
    return folder.substr(0, folder.find_last_of(L'-'));
}

// And both kinds of PDB file of one build say the same about every method.
TEST(RealFiles, AnswerAsExpectedAndAsThePortableOnesOfTheirBuild) {
    const auto modules = testing::collected_modules();
    if (modules.empty()) GTEST_SKIP() << "no collected modules are there";
    const testing::temporary_directory staging;
    std::size_t pairs = 0;
    for (const auto& classic : modules) {
        if (!classic.classic) continue;
        SCOPED_TRACE(classic.image.string());
        const auto answered = answers_of(testing::stage(classic, staging));
        testing::expect_same(classic.content, answered);
        for (const auto& portable : modules) {
            if (portable.classic || build_name(classic) != build_name(portable)) continue;
            EXPECT_EQ(answered.methods, portable.content.methods);
            ++pairs;
        }
    }
    EXPECT_GE(pairs, 1u);
}

}  // namespace
}  // namespace qv::classic_reader
