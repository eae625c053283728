#include "symbol_services/classic_reader/pdb.h"

#include <gmock/gmock.h>

#include <functional>
#include <thread>

#include "symbol_services/classic_reader/failure_test_support.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::classic_reader {
namespace {

using test::bytes;
using test::pdb_description;
using test::pdb_streams;
using test::poke;
using test::sample_pdb_description;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using edit = std::function<void(pdb_streams&)>;

constexpr auto as_it_is = [](auto&) {};

// The sample, described and its streams changed.
std::shared_ptr<const pdb> open(const std::function<void(pdb_description&)>& describe = as_it_is,
                                const edit& change = as_it_is) {
    auto description = sample_pdb_description();
    describe(description);
    auto streams = test::write_streams(description);
    change(streams);
    return pdb::open(test::write_msf(streams.streams));
}

bytes text(std::string_view content) {
    return {content.begin(), content.end()};
}

void expect_sample_points(const pdb& file) {
    const auto first = file.find_document(L"C:\\Code\\First.cs").value();
    const auto second = file.find_document(L"C:\\Code\\Second.cs").value();
    EXPECT_THAT(
        file.points(0x06000001),
        ElementsAre(sequence_point{0, first, 10, 5, 10, 6}, sequence_point{1, first, 11, 9, 12, 20},
                    sequence_point{7, first, hidden_line, 0, hidden_line, 0}, sequence_point{9, first, 13, 5, 13, 6}));
    EXPECT_THAT(file.points(0x06000002),
                ElementsAre(sequence_point{0, first, 20, 5, 20, 6}, sequence_point{4, second, 3, 1, 3, 40}));
    EXPECT_THAT(file.points(0x06000004),
                ElementsAre(sequence_point{0, second, 7, 5, 7, 6}, sequence_point{2, second, 9, 5, 9, 6}));
    EXPECT_THAT(file.methods(), ElementsAre(0x06000001u, 0x06000002u, 0x06000004u));
    for (const std::uint32_t other : {0x06000003u, 0x06000000u, 0x0A000001u, 0u, 0xFFFFFFFFu}) {
        EXPECT_THAT(file.points(other), IsEmpty());
        EXPECT_FALSE(file.has_method(other));
    }
    EXPECT_EQ(file.get_document(first).checksum, bytes(20, 0xA1));
}

TEST(Pdb, AnswersAreThoseThatWereWritten) {
    const auto file = open();
    expect_sample_points(*file);
    EXPECT_EQ(file->id().guid, sample_pdb_description().guid);
    EXPECT_EQ(file->id().age, 3u) << "of the debug information";
    EXPECT_EQ(file->id().signature, test::pdb_signature);
    expect_sample_points(*open([](auto& d) { d.references = false; }));
    expect_sample_points(*open([](auto& d) { d.source_list = false; }));
    const auto bare = open(as_it_is, [](auto& s) { s[test::dbi_stream_number].clear(); });
    EXPECT_EQ(bare->id().age, 5u) << "without debug information";
    EXPECT_THAT(bare->methods(), IsEmpty());
}

// No table is believed: a record that the symbol hash leads to must be the method's.
TEST(Pdb, LiesDoNoHarm) {
    const std::pair<const char*, edit> cases[] = {
        {"offset of another procedure", [](auto& s) { poke(s[s.symbol_records], 8, s.symbol_sizes[0] - 112, 4); }},
        {"offset outside the symbols", [](auto& s) { poke(s[s.symbol_records], 8, 0xFFFFFFF0, 4); }},
        {"module that is not there", [](auto& s) { poke(s[s.symbol_records], 12, 0xFFFF, 2); }},
        {"hash records outside the stream", [](auto& s) { poke(s[s.global_symbols], 16, 0xFFFFFFFF, 4); }},
        {"table larger than its stream", [](auto& s) { poke(s[s.global_symbols], 8, 0xFFFFFFF8, 4); }},
        {"stream name outside its buffer", [](auto& s) { poke(s[1], s[1].size() - 12, 0xFFFFFFF0, 4); }},
        {"empty table", [](auto& s) { s[s.global_symbols].clear(); }},
    };
    for (const auto& [name, change] : cases) {
        SCOPED_TRACE(name);
        expect_sample_points(*open(as_it_is, change));
    }
}

// Two modules claim one method, and the table knows the second one only: the symbols were not searched.
TEST(Pdb, SymbolHashIsAskedFirst) {
    const auto claim = [](auto& d) { d.modules[1].methods[0].token = 0x06000001; };
    const auto forget_first = [](pdb_streams& s) { poke(s[s.symbol_records], 14, '!', 1); };
    const auto unknown_table = [&](pdb_streams& s) {
        forget_first(s);
        poke(s[s.global_symbols], 0, 0, 4);
    };
    EXPECT_EQ(open(claim)->points(0x06000001).size(), 4u);
    EXPECT_EQ(open(claim, forget_first)->points(0x06000001).size(), 2u);
    EXPECT_EQ(open(claim, unknown_table)->points(0x06000001).size(), 4u);
    EXPECT_THAT(open(claim, forget_first)->methods_at(1, 7), ElementsAre(0x06000001u));
}

TEST(Pdb, TokenMapMovesDropsAndMergesMethods) {
    const std::pair<std::vector<std::uint32_t>, std::vector<std::uint32_t>> cases[] = {
        {{0, 5, 1, 2, 0}, {0x06000001, 0x06000005}},
        {{0, 3, 0x01000002, 1, 3}, {0x06000003}},
        {{0, 3}, {0x06000003}},
    };
    for (const bool references : {true, false})
        for (const auto& [map, methods] : cases) {
            const auto file = open([&, &rows = map](auto& d) {
                d.token_map = rows;
                d.references = references;
            });
            EXPECT_EQ(file->methods(), methods);
            EXPECT_EQ(file->points(methods.back()).size(), 4u);
            EXPECT_EQ(file->points(0x06000001).size(), methods.size() == 2 ? 2u : 0u);
            EXPECT_THAT(file->points(0x06000002), IsEmpty());
        }
}

TEST(Pdb, PositionsLeadToTheNarrowestMethodsAndTheNextLines) {
    const auto file = open([](auto& d) { d.modules[1].methods[0].lines = {{0, {{0, 12, 1, 12, 9}}}}; });
    EXPECT_THAT(file->methods_at(0, 12), ElementsAre(0x06000004u, 0x06000001u));
    EXPECT_THAT(file->methods_at(0, 13), ElementsAre(0x06000001u));
    EXPECT_THAT(file->methods_at(0, 14), IsEmpty());
    EXPECT_THAT(file->methods_at(1, 3), ElementsAre(0x06000002u));
    EXPECT_EQ(file->closest_line(0, 12), 12u);
    EXPECT_EQ(file->closest_line(0, 14), 20u);
    EXPECT_EQ(file->closest_line(0, 21), std::nullopt);
    EXPECT_EQ(file->closest_line(2, 1), std::nullopt);
}

TEST(Pdb, PointsAreSortedByOffsetAndKeepWhatIsRecorded) {
    const auto file = open([](auto& d) {
        auto& method = d.modules[0].methods[1];
        method.lines = {{0, {{8, 20, 5, 20, 6}, {2, test::hidden, 1, test::hidden, 2}}}, {1, {{4, 3, 1, 3, 40}}}};
        method.local = true;
        d.modules[1].columns = false;
    });
    EXPECT_THAT(file->points(0x06000002),
                ElementsAre(sequence_point{2, 0, hidden_line, 1, hidden_line, 2}, sequence_point{4, 1, 3, 1, 3, 40},
                            sequence_point{8, 0, 20, 5, 20, 6}));
    EXPECT_THAT(file->points(0x06000004),
                ElementsAre(sequence_point{0, 1, 7, 0, 7, 0}, sequence_point{2, 1, 9, 0, 9, 0}));
}

TEST(Pdb, DocumentsCarryWhatTheirRecordsHold) {
    const auto file = open([](auto& d) {
        d.files[1].source = text("class C { }");
        for (int i = 10; i < 70; ++i) d.files.push_back({.name = "C:\\Unused" + std::to_string(i) + ".cs"});
    });
    ASSERT_EQ(file->document_count(), 62u);
    const auto first = file->get_document(0), second = file->get_document(1);
    EXPECT_EQ(first.url, L"C:\\Code\\First.cs");
    EXPECT_EQ(first.checksum_algorithm, test::sha1);
    EXPECT_EQ(first.language.Data1, 1u);
    EXPECT_THAT(file->embedded_source(0), IsEmpty());
    EXPECT_EQ(second.checksum_algorithm, test::sha256);
    EXPECT_EQ(second.source_size, 11u);
    EXPECT_EQ(file->embedded_source(1), text("class C { }"));
    EXPECT_EQ(file->document_url(61), L"c:\\unused69.cs") << "of no module";
}

TEST(Pdb, ChecksumsOfNativeToolsAreInTheFileTable) {
    const std::uint32_t algorithms[] = {0, 0x406EA660, 0xFF1816EC, 0x8829D00F, 0};
    for (unsigned kind = 0; kind < 5; ++kind) {
        const auto file = open([&](auto& d) {
            for (auto& each : d.files) each.record = false;
            d.files[0].table_checksum_kind = kind;
            d.files[0].table_checksum = bytes(16, 0xC3);
        });
        EXPECT_EQ(file->get_document(0).checksum_algorithm.Data1, algorithms[kind]);
        EXPECT_EQ(file->get_document(0).checksum, bytes(16, 0xC3));
        EXPECT_THAT(file->get_document(1).checksum, IsEmpty());
    }
}

TEST(Pdb, NameThatIsListedAgainIsOneDocument) {
    const auto file = open([](auto& d) {
        d.files.push_back({.name = d.files[0].name});
        d.modules.back().methods.back().lines.push_back({2, {{4, 8, 5, 8, 6}}});
        for (auto& each : d.files) each.record = false;
    });
    ASSERT_EQ(file->document_count(), 2u);
    EXPECT_EQ(file->document_url(1), L"C:\\Code\\Second.cs");
}

TEST(Pdb, NamesThatDifferInCaseShareARecord) {
    const auto file = open([](auto& d) { d.files[1] = {.name = "c:/CODE/first.CS", .record = false}; });
    EXPECT_EQ(file->get_document(1).checksum, bytes(20, 0xA1));
    EXPECT_EQ(file->find_document(L"c:/CODE/first.CS"), 1u);
    EXPECT_EQ(file->find_document(L"c:\\code\\FIRST.cs"), 0u);
    EXPECT_EQ(file->find_document(L"C:\\Code\\Third.cs"), std::nullopt);
}

TEST(Pdb, SourceServerDataIsTheIndexOrTheSourceLinkDocument) {
    const std::string first = R"({"documents":{"a*":"1"},"more":1})";
    const struct {
        const char* name;
        std::vector<std::pair<std::string, bytes>> streams;
        std::string answer;
    } cases[] = {
        {"neither", {}, ""},
        {"both", {{"sourcelink", text("{}")}, {"srcsrv", text("SRCSRV: ini")}}, "SRCSRV: ini"},
        {"empty index", {{"srcsrv", {}}, {"SourceLink", text(first)}}, first},
        {"one, as it is", {{"sourcelink$3", text("no JSON")}}, "no JSON"},
        {"several",
         {{"sourcelink$10", text(R"({"documents":{"c*":"4"}})")},
          {"sourcelink$2", text(R"({"documents":{"b*":"2","a*":"3"}})")},
          {"sourcelink$9", text("no JSON")},
          {"sourcelink$x", text(R"({"documents":{"d*":"5"}})")},
          {"sourcelink", text(first)}},
         R"({"documents":{"a*":"1","b*":"2","c*":"4"},"more":1})"},
        {"several that are none",
         {{"sourcelink$1", text("[]")}, {"sourcelink", text(R"({"documents":1})")}},
         R"({"documents":1})"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(open([&](auto& d) { d.named = each.streams; })->source_server_data(), text(each.answer)) << each.name;
}

TEST(Pdb, FilesThatCannotBeOpened) {
    constexpr const char* unexpected_end = "Unexpected end of PDB data, 806d000e";
    const std::tuple<const char*, edit, const char*> cases[] = {
        {"no info stream", [](auto& s) { s.streams[1].reset(); }, "PDB stream not found, 806d000e"},
        {"old info stream", [](auto& s) { poke(s[1], 0, 19970604, 4); }, "Unsupported PDB version, 806d000a"},
        {"short info stream", [](auto& s) { s[1].resize(20); }, unexpected_end},
        {"long name buffer", [](auto& s) { poke(s[1], 28, 0xFFFFFFFF, 4); }, unexpected_end},
        {"many words of name bits", [](auto& s) { poke(s[1], s[1].size() - 40, 0x40000001, 4); }, unexpected_end},
        {"old DBI stream", [](auto& s) { poke(s[3], 4, 19970606, 4); }, "Unsupported DBI version, 806d000a"},
        {"negative module list", [](auto& s) { poke(s[3], 24, 0xFFFFFFFF, 4); }, "Invalid DBI stream, 806d000e"},
        {"debug header outside", [](auto& s) { poke(s[3], 48, 0x10000, 4); }, "Invalid DBI stream, 806d000e"},
        {"module list cut off", [](auto& s) { poke(s[3], 24, 70, 4); }, unexpected_end},
    };
    for (const auto& [name, change, failure] : cases)
        EXPECT_EQ(failure_of([&, &broken = change] { open(as_it_is, broken); }), failure) << name;
}

// What the first module's stream holds behind its symbols: the lines of 06000001 (8 + 12 + 12 bytes before the first
// line), those of 06000002, the file table.
edit first_module(std::size_t offset, std::uint32_t value, unsigned width = 4) {
    return [=](pdb_streams& s) { poke(s[s.modules[0]], s.symbol_sizes[0] + offset, value, width); };
}

// What breaks is lost with its message, and nothing else is.
TEST(Pdb, BrokenPartsFailAlone) {
    constexpr const char* invalid_lines = "Invalid line information, 806d000e";
    constexpr const char* old_lines = "Unsupported line information, 806d000a";
    constexpr std::size_t c11_field = 64 + 32 + 4 + 4;
    const struct {
        const char* name;
        edit change;
        const char* first;   // failure of 06000001
        const char* second;  // failure of 06000002, which lies in the same module
    } cases[] = {
        {"too many lines", first_module(24, 0x40000000), invalid_lines, ""},
        {"block larger than the section", first_module(28, 0x1000), invalid_lines, ""},
        {"block smaller than its header", first_module(28, 4), invalid_lines, ""},
        {"file outside the table", first_module(20, 0x1000), "Invalid source file table, 806d000e", ""},
        {"subsection outside the lines", first_module(4, 0xFFFFFFF0), invalid_lines, invalid_lines},
        {"stream that ends within the lines", [](auto& s) { s[s.modules[0]].resize(s.symbol_sizes[0] + 30); },
         invalid_lines, invalid_lines},
        {"lines of old compilers", [](auto& s) { poke(s[test::dbi_stream_number], c11_field, 16, 8); }, old_lines,
         old_lines},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const auto file = open(as_it_is, each.change);
        EXPECT_EQ(failure_of([&] { file->points(0x06000001); }), each.first);
        EXPECT_EQ(failure_of([&] { file->points(0x06000002); }), each.second);
        EXPECT_EQ(file->points(0x06000004).size(), 2u);
        EXPECT_THAT(file->methods_at(file->find_document(L"C:\\Code\\First.cs").value(), 11), IsEmpty());
    }
}

TEST(Pdb, BrokenSymbolRecordLosesWhatFollowsItOnly) {
    const auto file = open([](auto& d) { d.references = false; }, [](auto& s) { poke(s[s.modules[0]], 4 + 48, 0, 2); });
    EXPECT_THAT(file->methods(), ElementsAre(0x06000001u, 0x06000004u));
}

TEST(Pdb, BrokenDocumentsFailAlone) {
    for (const auto* name : {"C:\\Code\\\xFF.cs", "C:\\Code\\\xC1\x81.cs"}) {
        const auto file =
            open([&](auto& d) { d.files[0].name = name; }, [](auto& s) { poke(s[s.files[1]], 64, 0xFFFFFFFF, 4); });
        EXPECT_EQ(failure_of([&] { file->get_document(0); }), "Invalid document name, 806d000e");
        EXPECT_EQ(failure_of([&] { file->get_document(1); }), "Invalid document, 806d000e");
        EXPECT_EQ(file->document_url(1), L"C:\\Code\\Second.cs");
        EXPECT_EQ(file->points(0x06000001).size(), 4u);
    }
}

// Without names every method with lines fails, and what needs no name is answered.
TEST(Pdb, BrokenStringTable) {
    const auto file = open(as_it_is, [](auto& s) { poke(s[test::names_stream_number], 0, 0, 4); });
    EXPECT_EQ(failure_of([&] { file->points(0x06000001); }), "Invalid string table, 806d000e");
    EXPECT_EQ(file->get_document(0).checksum, bytes(20, 0xA1));
}

// Bytes of which one read fails.
class failing_source final : public byte_source {
public:
    failing_source(bytes content, int turn, std::function<void()> failure)
        : content_(std::move(content)), left_(turn), failure_(std::move(failure)) {}
    std::uint64_t size() const noexcept override { return content_.size(); }
    void read(std::uint64_t offset, std::span<unsigned char> destination) const override {
        if (--left_ == 0) failure_();
        content_.read(offset, destination);
    }

private:
    const memory_source content_;
    mutable int left_;
    const std::function<void()> failure_;
};

TEST(Pdb, WhatCouldNotBeReadIsReadByTheNextQuestion) {
    const std::pair<const char*, std::function<void()>> failures[] = {
        {"no memory", [] { throw std::bad_alloc(); }},
        {"Can't read PDB file, 806d0004", [] { throw_hresult_error("Can't read PDB file", e_pdb_file_system); }},
    };
    for (const auto& [text, failure] : failures) {
        std::shared_ptr<const pdb> file;
        const std::function<void()> questions[] = {[&] { file->points(0x06000001); }, [&] { file->methods(); },
                                                   [&] { file->get_document(0); }, [&] { file->closest_line(0, 14); }};
        int turn = 0;
        for (bool failed = true; failed && !HasFailure();) {
            auto source = std::make_unique<failing_source>(test::write_pdb(sample_pdb_description()), ++turn, failure);
            std::string told = failure_of([&] { file = pdb::open(std::move(source)); });
            if (told.empty()) {
                for (const auto& question : questions) told += failure_of(question);
                expect_sample_points(*file);
            }
            failed = !told.empty();
            EXPECT_TRUE(!failed || told == text) << told << " at read " << turn;
        }
        EXPECT_GT(turn, 10);
    }
}

TEST(Pdb, ThreadsAskOneFileAtOnce) {
    const auto file = open();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&file] { expect_sample_points(*file); });
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace qv::classic_reader
