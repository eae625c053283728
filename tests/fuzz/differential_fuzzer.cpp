// Reads the input as a portable PDB in two ways, and holds every answer and every message of the one against the
// other's.
#include <algorithm>
#include <memory>

#include "pdb_server/src/ppdb/ppdb_module_data.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/sample_pdb.h"
#include "tests/fuzz/simple_pdb.h"

namespace qv::fuzz {
namespace {

using namespace profiler::pdb_server;

// The simple reading walks the rest of the file for each stream's name.
constexpr std::size_t largest_input = 16384;
constexpr std::uint32_t rows_asked = 16;

// What the action fails with; empty when it does not.
template <class Action>
std::string message_of(Action&& action) {
    try {
        action();
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

// Asks both, each with an answer of before, and returns whether they gave one.
template <class Answer, class Simple, class Product>
bool compare(const char* question, const Answer& before, Simple&& simple, Product&& product) {
    Answer expected = before;
    Answer answer = before;
    const std::string expected_message = message_of([&] { simple(expected); });
    const std::string message = message_of([&] { product(answer); });
    if (message != expected_message)
        std::fprintf(stderr, "'%s', expected '%s'\n", message.c_str(), expected_message.c_str());
    require(message == expected_message && (!message.empty() || answer == expected), question);
    return message.empty();
}

void compare_method(const simple_pdb& simple, module_data& module, std::uint32_t row) {
    using columns = simple_pdb::columns;
    columns before;
    before.fill({1, 2, 3});
    const auto expected = [&](columns& answer) { simple.get_points(row, answer); };
    const auto ask = [&](columns& answer, bool offsets_first) {
        std::array<point_values, 6> values;
        for (auto& value : values) value.assign(before[0].begin(), before[0].end());
        if (offsets_first) module.get_method_offsets(row, values[0]);
        module.get_method_ranges(row, values[1], values[2], values[3], values[4], values[5]);
        if (!offsets_first) module.get_method_offsets(row, values[0]);
        for (std::size_t i = 0; i < values.size(); ++i) answer[i].assign(values[i].begin(), values[i].end());
    };
    compare("offsets", before, expected, [&](columns& answer) { ask(answer, false); });
    compare("ranges", before, expected, [&](columns& answer) { ask(answer, true); });
}

void compare_document(const simple_pdb& simple, module_data& module, std::uint32_t row) {
    using document = simple_pdb::document;
    compare(
        "document", document{L"before", sample_mvid, {1}}, [&](document& answer) { simple.get_document(row, answer); },
        [&](document& answer) { module.get_document(row, answer.url, answer.algorithm, answer.checksum); });
}

void compare_answers(const simple_pdb& simple, module_data& module) {
    const auto ask = [&](std::uint32_t rows, auto&& compare_row) {
        for (std::uint32_t row = 0; row <= std::min(rows, rows_asked); ++row) compare_row(simple, module, row);
        compare_row(simple, module, rows + 1);
    };
    ask(simple.rows(0x31), compare_method);
    ask(simple.rows(0x30), compare_document);
    compare(
        "Source Link", bytes{1}, [&](bytes& answer) { simple.get_source_link(answer); },
        [&](bytes& answer) { module.get_source_server_data(answer); });
}

outcome run(const unsigned char* data, std::size_t size) {
    if (size > largest_input) return outcome::rejected;
    std::unique_ptr<const simple_pdb> simple;
    std::unique_ptr<const metadata_container> container;
    const bool accepted = compare(
        "the PDB", 0, [&](int&) { simple = std::make_unique<simple_pdb>(region(data, size)); },
        [&](int&) { container = std::make_unique<const metadata_container>(bytes(data, data + size)); });
    if (!accepted) return outcome::rejected;
    require(container->has_id(simple->guid(), simple->stamp()), "the PDB's id");
    ppdb_module_data module(GUID{}, std::move(container));
    compare_answers(*simple, module);
    return outcome::accepted;
}

}  // namespace

const fuzz_target target = {run, metadata_seeds, metadata_words, mend_metadata, nullptr, 1000};

}  // namespace qv::fuzz
