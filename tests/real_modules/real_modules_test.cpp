// Everything about modules that compilers wrote, asked as a profiler asks: load, then every method and every document.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "tests/real_modules/connection.h"
#include "tests/support/expected/expected.h"
#ifdef _WIN32
#include "tests/support/pdb_writer/sample_module.h"
#endif

namespace qv::testing {
namespace {

namespace client = profiler::pdb_client;
namespace fs = boost::filesystem;

template <class Value>
Value value_of(client::answer<Value> answer) {
    if (!answer.ok()) throw std::runtime_error(answer.error());
    return std::move(answer).value();
}

answers ask(client::session& symbols, std::uint32_t id, const expected_module& expected) {
    std::map<std::uint32_t, client::document> documents;
    const auto document = [&](std::uint32_t number) -> const client::document& {
        if (!documents.contains(number)) documents[number] = value_of(symbols.get_document(id, number));
        return documents[number];
    };
    answers result;
    for (std::uint32_t token = 0x06000001; token <= 0x06000000 + expected.method_rows; ++token) {
        const auto offsets = value_of(symbols.get_method_offsets(id, token));
        const auto ranges = value_of(symbols.get_method_ranges(id, token));
        if (offsets.size() != ranges.size()) throw std::runtime_error("offsets and ranges differ in number");
        for (std::size_t i = 0; i < offsets.size(); ++i)
            result.add_point(token, offsets[i], document(ranges[i].document_id).url, ranges[i].start_line,
                             ranges[i].start_column, ranges[i].end_line, ranges[i].end_column);
    }
    for (std::uint32_t row = 1; !expected.classic && row <= expected.document_rows; ++row) document(row);
    for (const auto& [number, found] : documents)
        result.add_document(expected.classic ? 0 : number, found.url, found.checksum_algorithm, found.checksum);
    result.set_source_data(value_of(symbols.get_source_server_data(id)));
    return result;
}

// The number of points compared.
std::size_t check(const std::vector<expected_module>& modules) {
    const temporary_directory staging;
    connection server;
    std::size_t points = 0;
    for (const auto& module : modules) {
        SCOPED_TRACE(module.image.string());
        const auto id = server.session().load_module(stage(module, staging).wstring(), module.mvid);
        EXPECT_EQ(value_of(id) != 0, module.match);
        if (value_of(id) == 0) continue;
        expect_same(module.content, ask(server.session(), value_of(id), module));
        points += module.content.points;
    }
    std::cout << modules.size() << " modules, " << points << " points\n";
    return points;
}

// QV_FIXTURES may name a folder of fixtures that were compiled afresh.
TEST(RealModules, FixturesAnswerAsExpected) {
    const char* fresh = std::getenv("QV_FIXTURES");
    const auto modules = load_expected(fresh != nullptr ? fs::path(fresh) : fixture(""));
    EXPECT_GE(modules.size(), 12u);
    EXPECT_GE(check(modules), 100u);
}

TEST(RealModules, CollectedOnesAnswerAsExpected) {
    auto modules = collected_modules();
    if (modules.empty()) GTEST_SKIP() << "no collected modules are there";
    bool with_classic = false;
#ifdef _WIN32
    with_classic = has_symbol_binder();
#endif
    if (!with_classic) std::erase_if(modules, [](const expected_module& module) { return module.classic; });
    EXPECT_GT(check(modules), 0u);
}

#ifdef _WIN32
TEST(ClassicModules, WrittenOneAnswersAsWritten) {
    if (!has_symbol_binder()) GTEST_SKIP() << "no reader of classic PDB files is registered";
    auto description = test::sample_pdb_description();
    description.named = {{"srcsrv", {'S', 'R', 'C'}}};
    const sample_module module(description);

    expected_module expected{};
    expected.method_rows = sample_module::method_rows;
    expected.classic = true;
    std::vector<std::wstring> names;
    for (const auto& file : description.files) {
        names.emplace_back(file.name.begin(), file.name.end());
        expected.content.add_document(0, names.back(), file.algorithm, file.checksum);
    }
    constexpr std::uint32_t hidden = 0xFEEFEE;
    const std::uint32_t points[][7] = {{0x06000001, 0, 0, 10, 5, 10, 6},         {0x06000001, 1, 0, 11, 9, 12, 20},
                                       {0x06000001, 7, 0, hidden, 0, hidden, 0}, {0x06000001, 9, 0, 13, 5, 13, 6},
                                       {0x06000002, 0, 0, 20, 5, 20, 6},         {0x06000002, 4, 1, 3, 1, 3, 40},
                                       {0x06000004, 0, 1, 7, 5, 7, 6},           {0x06000004, 2, 1, 9, 5, 9, 6}};
    for (const auto& [token, offset, file, line, column, end_line, end_column] : points)
        expected.content.add_point(token, offset, names.at(file), line, column, end_line, end_column);
    expected.content.set_source_data({'S', 'R', 'C'});

    connection server;
    const auto id = value_of(server.session().load_module(module.image.wstring(), sample_module::mvid));
    ASSERT_NE(id, 0u);
    expect_same(expected.content, ask(server.session(), id, expected));
}

TEST(ClassicModules, LeaveNothingBehind) {
    if (!has_symbol_binder()) GTEST_SKIP() << "no reader of classic PDB files is registered";
    const sample_module module;
    connection to;
    const auto cycle = [&] {
        const auto id = value_of(to.session().load_module(module.image.native(), sample_module::mvid));
        ASSERT_NE(id, 0u);
        EXPECT_EQ(value_of(to.session().get_method_ranges(id, 0x06000001)).size(), 4u);
        EXPECT_TRUE(to.session().unload_module(id).ok());
    };
    // The heap grows by large steps at times of its own, so no amount tells. A leak of a few hundred bytes makes every
    // round grow; without one some round soon adds nothing.
    constexpr int rounds = 10, loads = 500;
    for (int i = 0; i < 50; ++i) cycle();
    const std::size_t handles = to.server().holdings().handles;
    bool level = false;
    for (int round = 0; round < rounds && !level && !HasFailure(); ++round) {
        const SIZE_T before = to.server().holdings().memory;
        for (int i = 0; i < loads && !HasFailure(); ++i) cycle();
        level = to.server().holdings().memory <= before;
    }
    EXPECT_TRUE(level) << "every round of " << loads << " loads has grown the server";
    // Some come and go with the pipe's threads; a leak would be one for each load.
    EXPECT_LT(to.server().holdings().handles, handles + loads / 4);

    // An unloaded module's file belongs to the builds again.
    EXPECT_TRUE(fs::remove(module.pdb));
}
#endif

}  // namespace
}  // namespace qv::testing
