#include "tests/support/expected/compare.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

namespace qv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Answers what the expected module says; a test spoils one answer.
class scripted_source : public symbol_source {
public:
    explicit scripted_source(const expected_module& module) : answers(module) {}

    std::uint32_t load(const boost::filesystem::path&, const GUID&) override { return 1; }

    std::vector<std::uint32_t> offsets(std::uint32_t, std::uint32_t token) override {
        if (token == failing_token) throw std::runtime_error("Out of arent region");
        std::vector<std::uint32_t> result;
        for (const auto& point : answers.methods[token]) result.push_back(point.offset);
        return result;
    }

    std::vector<source_range> ranges(std::uint32_t, std::uint32_t token) override {
        std::vector<source_range> result;
        for (const auto& point : answers.methods[token]) result.push_back(point.range);
        if (one_range_less) result.pop_back();
        return result;
    }

    document get_document(std::uint32_t, std::uint32_t id) override { return answers.documents.at(id); }

    std::vector<std::uint8_t> source_server_data(std::uint32_t) override { return answers.source_server_data; }

    expected_module answers;
    std::uint32_t failing_token = 0;
    bool one_range_less = false;
};

expected_module sample() {
    expected_module module{};
    module.method_rows = 3;
    module.source_server_data = {'{', '}'};
    module.documents[1] = {L"a.cs", GUID{1, 0, 0, {}}, {0xAB}};
    module.documents[2] = {L"b.cs", GUID{}, {}};
    module.methods[0x06000001] = {{0, {1, 2, 3, 4, 5}}};
    module.methods[0x06000003] = {{0, {1, 2, 3, 4, 5}}, {4, {2, 0xFEEFEE, 0, 0xFEEFEE, 0}}};
    return module;
}

// Spoils an answer of a faithful source and returns what the comparison says.
std::vector<std::string> differences_after(const std::function<void(scripted_source&)>& spoil) {
    scripted_source source(sample());
    spoil(source);
    return compare(sample(), source, 1).differences;
}

TEST(Compare, FaithfulAnswersDifferInNothing) {
    scripted_source source(sample());
    const auto result = compare(sample(), source, 1);
    EXPECT_THAT(result.differences, IsEmpty());
    EXPECT_EQ(result.methods, 3u);
    EXPECT_EQ(result.points, 3u);
    EXPECT_EQ(result.documents, 2u);
}

TEST(Compare, EveryFieldOfAPointCounts) {
    const auto spoiled = [](std::uint32_t expected_point::*offset, std::uint32_t source_range::*field) {
        return differences_after([=](scripted_source& source) {
            auto& point = source.answers.methods[0x06000003][1];
            (offset != nullptr ? point.*offset : point.range.*field) = 9;
        });
    };
    const std::string before =
        "method 0x6000003: point 1 expected IL 4 document 2 (16707566,0)-(16707566,0), answered ";
    EXPECT_THAT(spoiled(&expected_point::offset, nullptr),
                ElementsAre(before + "IL 9 document 2 (16707566,0)-(16707566,0)"));
    EXPECT_THAT(spoiled(nullptr, &source_range::document),
                ElementsAre(before + "IL 4 document 9 (16707566,0)-(16707566,0)"));
    EXPECT_THAT(spoiled(nullptr, &source_range::start_line),
                ElementsAre(before + "IL 4 document 2 (9,0)-(16707566,0)"));
    EXPECT_THAT(spoiled(nullptr, &source_range::start_column),
                ElementsAre(before + "IL 4 document 2 (16707566,9)-(16707566,0)"));
    EXPECT_THAT(spoiled(nullptr, &source_range::end_line), ElementsAre(before + "IL 4 document 2 (16707566,0)-(9,0)"));
    EXPECT_THAT(spoiled(nullptr, &source_range::end_column),
                ElementsAre(before + "IL 4 document 2 (16707566,0)-(16707566,9)"));
}

TEST(Compare, PointsTooFewAndTooManyAreSeen) {
    EXPECT_THAT(differences_after([](auto& source) { source.answers.methods[0x06000003].pop_back(); }),
                ElementsAre("method 0x6000003: 2 points expected, answered 1 offsets and 1 ranges"));
    EXPECT_THAT(differences_after([](auto& source) { source.answers.methods[0x06000002].push_back({}); }),
                ElementsAre("method 0x6000002: 0 points expected, answered 1 offsets and 1 ranges"));
    scripted_source source(sample());
    source.answers.methods[0x06000002].push_back({});
    source.one_range_less = true;
    EXPECT_THAT(compare(sample(), source, 1).differences,
                ::testing::Contains("method 0x6000002: 0 points expected, answered 1 offsets and 0 ranges"));
}

TEST(Compare, AFailedQueryIsADifference) {
    EXPECT_THAT(differences_after([](auto& source) { source.failing_token = 0x06000002; }),
                ElementsAre("method 0x6000002: failed with \"Out of arent region\""));
}

TEST(Compare, DocumentsAreHeldFieldByField) {
    EXPECT_THAT(differences_after([](auto& source) { source.answers.documents[1].name = L"A.cs"; }),
                ElementsAre("document 1: name expected a.cs, answered A.cs"));
    EXPECT_THAT(differences_after([](auto& source) { source.answers.documents[1].hash = {}; }),
                ElementsAre("document 1: hash expected ab, answered "));
    EXPECT_THAT(differences_after([](auto& source) { source.answers.documents[1].algorithm.Data1 = 2; }),
                ElementsAre("document 1: hash algorithm expected {00000001-0000-0000-0000-000000000000}, "
                            "answered {00000002-0000-0000-0000-000000000000}"));
    EXPECT_THAT(differences_after([](auto& source) { source.answers.documents[2].algorithm.Data1 = 2; }), IsEmpty());
}

TEST(Compare, SourceServerDataIsHeldByteByByte) {
    EXPECT_THAT(differences_after([](auto& source) { source.answers.source_server_data = {'{'}; }),
                ElementsAre("source-server data: 2 bytes expected, answered 1; the first difference is at 1"));
}

TEST(Compare, OnlyTheFirstTenOfAKindAreShown) {
    auto module = sample();
    module.method_rows = 30;
    scripted_source source(module);
    for (std::uint32_t row = 11; row <= 30; ++row) source.answers.methods[0x06000000 | row].push_back({});
    const auto differences = compare(module, source, 1).differences;
    ASSERT_EQ(differences.size(), 11u);
    EXPECT_EQ(differences.back(), "... and 10 more of kind method");
}

}  // namespace
}  // namespace qv::testing
