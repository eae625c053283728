// PDB files that compilers wrote, held against the answers that are known for them.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <iostream>
#include <map>

#include "qv/portable_executable/image_file.h"
#include "qv/text/path.h"
#include "qv/text/utf.h"
#include "symbol_services/classic_reader/locate.h"
#include "tests/support/expected/compare.h"
#include "tests/support/expected/stage.h"
#include "tests/support/files/test_files.h"

namespace qv::classic_reader {
namespace {

namespace fs = boost::filesystem;

pdb_search search_beside(const fs::path& image) {
    pdb_search search{.image = image, .records = {}, .search_path = {}, .policy = search_reference_path, .server = {}};
    for (const auto& entry : portable_executable::read_image_file(image).debug_entries)
        if (auto record = parse_codeview(entry.data)) search.records.push_back(std::move(*record));
    return search;
}

// The reader as the comparison sees it. Documents have the numbers of the expected ones, which are known by name.
class classic_source : public testing::symbol_source {
public:
    explicit classic_source(const testing::expected_module& expected) {
        for (const auto& [row, document] : expected.documents) rows_[document.name] = row;
    }

    std::uint32_t load(const fs::path& image, const GUID&) override {
        file_ = locate_pdb(search_beside(image)).file;
        return 1;
    }

    std::vector<std::uint32_t> offsets(std::uint32_t, std::uint32_t token) override {
        std::vector<std::uint32_t> result;
        for (const auto& point : file_->points(token)) result.push_back(point.il_offset);
        return result;
    }

    // The expected answers hold no columns of hidden points, which have no meaning; the reader gives the recorded ones.
    std::vector<testing::source_range> ranges(std::uint32_t, std::uint32_t token) override {
        std::vector<testing::source_range> result;
        for (const auto& point : file_->points(token))
            result.push_back({rows_.at(file_->document_url(point.document)), point.start_line,
                              point.hidden() ? 0 : point.start_column, point.end_line,
                              point.hidden() ? 0 : point.end_column});
        return result;
    }

    testing::document get_document(std::uint32_t, std::uint32_t id) override {
        for (const auto& [name, row] : rows_) {
            if (row != id) continue;
            auto document = file_->get_document(file_->find_document(name).value());
            return {std::move(document.url), document.checksum_algorithm, std::move(document.checksum)};
        }
        return {};
    }

    std::vector<std::uint8_t> source_server_data(std::uint32_t) override { return file_->source_server_data(); }

    const pdb& file() const { return *file_; }

private:
    std::map<std::wstring, std::uint32_t> rows_;
    std::shared_ptr<const pdb> file_;
};

// Every method that the file gives points for is an expected one.
void expect_no_further_methods(const testing::expected_module& expected, const pdb& file) {
    for (const auto token : file.methods()) {
        const bool expects_points = expected.methods.contains(token);
        EXPECT_TRUE(expects_points || file.points(token).empty()) << std::hex << token;
    }
}

std::vector<testing::expected_module> collected_modules(const std::string& format) {
    const char* named = std::getenv("QV_TESTDATA");
    const auto folder =
        named != nullptr && *named != '\0' ? fs::path(named) : testing::source_root() / "../shared/testdata";
    std::vector<testing::expected_module> modules;
    if (!fs::is_directory(folder)) return modules;
    for (const auto& file : testing::find_expected(folder)) {
        auto module = testing::load_expected(file);
        if (module.format == format) modules.push_back(std::move(module));
    }
    return modules;
}

TEST(RealFiles, AnswerAsExpected) {
    const auto modules = collected_modules("windows");
    if (modules.empty()) GTEST_SKIP() << "no collected modules are there";
    const testing::temporary_directory staging;
    testing::comparison total;
    for (const auto& module : modules) {
        SCOPED_TRACE(text::to_utf8(text::to_wide(module.image)));
        classic_source source(module);
        const auto image = testing::stage(module, staging, module.image.parent_path().filename());
        const auto result = compare(module, source, source.load(image, module.mvid));
        for (const auto& difference : result.differences) ADD_FAILURE() << difference;
        expect_no_further_methods(module, source.file());
        total.methods += result.methods;
        total.points += result.points;
        total.documents += result.documents;
    }
    std::cout << modules.size() << " modules, " << total.methods << " methods, " << total.points << " points, "
              << total.documents << " documents compared\n";
    EXPECT_GT(total.points, 0u);
}

std::wstring build_name(const testing::expected_module& module) {
    const auto folder = text::to_wide(module.image.parent_path().filename());
    return folder.substr(0, folder.find_last_of(L'-'));
}

// Both kinds of PDB file of one build say the same about every method.
TEST(RealFiles, PairsOfOneBuildHaveTheSameRanges) {
    const auto portable_modules = collected_modules("portable");
    if (portable_modules.empty()) GTEST_SKIP() << "no collected modules are there";
    const testing::temporary_directory staging;
    std::size_t pairs = 0;
    for (const auto& classic : collected_modules("windows"))
        for (const auto& portable : portable_modules) {
            if (build_name(classic) != build_name(portable)) continue;
            SCOPED_TRACE(text::to_utf8(text::to_wide(classic.image)));
            classic_source source(portable);
            source.load(testing::stage(classic, staging, classic.image.parent_path().filename()), classic.mvid);
            for (const auto& [token, points] : portable.methods) {
                std::vector<testing::expected_point> answered;
                const auto offsets = source.offsets(1, token);
                const auto ranges = source.ranges(1, token);
                for (std::size_t i = 0; i < offsets.size(); ++i) answered.push_back({offsets[i], ranges.at(i)});
                EXPECT_EQ(answered, points) << std::hex << token;
            }
            ++pairs;
        }
    std::cout << pairs << " pairs compared\n";
    EXPECT_GE(pairs, 1u);
}

}  // namespace
}  // namespace qv::classic_reader
