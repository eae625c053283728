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
using test::poke;
using test::sample_pdb_description;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::shared_ptr<const pdb> open(const pdb_description& description) {
    return pdb::open(test::write_pdb(description));
}

// The sample with its streams changed.
std::shared_ptr<const pdb> open_changed(const pdb_description& description,
                                        const std::function<void(test::pdb_streams&)>& change) {
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
    EXPECT_THAT(file.points(0x06000003), IsEmpty());
    EXPECT_FALSE(file.has_method(0x06000003));
    EXPECT_THAT(file.methods(), ElementsAre(0x06000001u, 0x06000002u, 0x06000004u));
}

TEST(Pdb, IdentityHasTheAgeOfTheDebugInformation) {
    const auto id = open(sample_pdb_description())->id();
    EXPECT_EQ(id.guid, sample_pdb_description().guid);
    EXPECT_EQ(id.age, 3u);
    EXPECT_EQ(id.signature, 0x4A5B6C7Du);
}

TEST(Pdb, PointsAreThoseThatWereWritten) {
    expect_sample_points(*open(sample_pdb_description()));
    expect_sample_points(*pdb::open(test::write_pdb(sample_pdb_description(), 4096, test::page_order::descending)));
}

TEST(Pdb, MethodsAreFoundWithoutTheSymbolHash) {
    auto description = sample_pdb_description();
    description.references = false;
    expect_sample_points(*open(description));
}

// The table is not believed: a record that it leads to must be the method's.
TEST(Pdb, LyingSymbolHashDoesNoHarm) {
    const std::pair<const char*, std::function<void(test::pdb_streams&)>> cases[] = {
        {"offset of another procedure",
         [](auto& s) {
             poke(s[s.symbol_records], 8, test::write_streams(sample_pdb_description()).symbol_sizes[0] - 112, 4);
         }},
        {"offset outside the symbols", [](auto& s) { poke(s[s.symbol_records], 8, 0xFFFFFFF0, 4); }},
        {"module that is not there", [](auto& s) { poke(s[s.symbol_records], 12, 0xFFFF, 2); }},
        {"hash records outside the stream", [](auto& s) { poke(s[s.global_symbols], 16, 0xFFFFFFFF, 4); }},
        {"table larger than its stream", [](auto& s) { poke(s[s.global_symbols], 8, 0xFFFFFFF8, 4); }},
        {"empty table", [](auto& s) { s[s.global_symbols].clear(); }},
    };
    for (const auto& [name, change] : cases) {
        SCOPED_TRACE(name);
        expect_sample_points(*open_changed(sample_pdb_description(), change));
    }
}

// Two modules claim one method, and the table knows the second one only: the symbols were not searched.
TEST(Pdb, SymbolHashIsAskedFirst) {
    auto description = sample_pdb_description();
    description.modules[1].methods[0].token = 0x06000001;
    const auto forget_first = [](test::pdb_streams& s) { poke(s[s.symbol_records], 14, '!', 1); };
    EXPECT_EQ(open(description)->points(0x06000001).size(), 4u);
    EXPECT_EQ(open_changed(description, forget_first)->points(0x06000001).size(), 2u);
}

TEST(Pdb, TokenMapMovesMethods) {
    auto description = sample_pdb_description();
    description.token_map = {0, 5, 1, 2, 0};  // row 4 was dropped
    for (const bool references : {true, false}) {
        description.references = references;
        const auto file = open(description);
        EXPECT_THAT(file->methods(), ElementsAre(0x06000001u, 0x06000005u));
        EXPECT_EQ(file->points(0x06000005).size(), 4u);
        EXPECT_EQ(file->points(0x06000001).size(), 2u);
        EXPECT_THAT(file->points(0x06000004), IsEmpty());
    }
}

TEST(Pdb, TokensOfOtherTablesHaveNoPoints) {
    const auto file = open(sample_pdb_description());
    for (const std::uint32_t token : {0x06000000u, 0x0A000001u, 0u, 0xFFFFFFFFu}) {
        EXPECT_THAT(file->points(token), IsEmpty());
        EXPECT_FALSE(file->has_method(token));
    }
}

TEST(Pdb, PointsAreSortedByOffset) {
    auto description = sample_pdb_description();
    description.modules[0].methods[1].lines = {{0, {{8, 20, 5, 20, 6}, {2, 18, 5, 18, 6}}}, {1, {{4, 3, 1, 3, 40}}}};
    description.modules[0].methods[1].local = true;
    const auto points = open(description)->points(0x06000002);
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(points[0].il_offset, 2u);
    EXPECT_EQ(points[1].il_offset, 4u);
    EXPECT_EQ(points[2].il_offset, 8u);
}

TEST(Pdb, ModulesWithoutColumnsHaveNone) {
    auto description = sample_pdb_description();
    description.modules[1].columns = false;
    const auto points = open(description)->points(0x06000004);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[1].start_line, 9u);
    EXPECT_EQ(points[1].start_column, 0u);
    EXPECT_EQ(points[1].end_column, 0u);
}

TEST(Pdb, HiddenPointsKeepTheirColumns) {
    auto description = sample_pdb_description();
    description.modules[1].methods[0].lines = {{1, {{0, test::hidden, 1, test::hidden, 2}}}};
    const auto points = open(description)->points(0x06000004);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_TRUE(points[0].hidden());
    EXPECT_EQ(points[0].start_column, 1u);
    EXPECT_EQ(points[0].end_column, 2u);
}

TEST(Pdb, DocumentsCarryTheirChecksum) {
    const auto file = open(sample_pdb_description());
    ASSERT_EQ(file->document_count(), 2u);
    const auto first = file->get_document(0);
    EXPECT_EQ(first.url, L"C:\\Code\\First.cs");
    EXPECT_EQ(first.checksum_algorithm, test::sha1);
    EXPECT_EQ(first.checksum, bytes(20, 0xA1));
    EXPECT_EQ(first.language.Data1, 0x3F5162F8u);
    EXPECT_EQ(first.source_size, 0u);
    EXPECT_THAT(file->embedded_source(0), IsEmpty());
    EXPECT_EQ(file->get_document(1).checksum_algorithm, test::sha256);
}

TEST(Pdb, ChecksumsOfNativeToolsAreInTheFileTable) {
    auto description = sample_pdb_description();
    description.files[0].record = false;
    description.files[0].table_checksum_kind = 1;
    description.files[0].table_checksum = bytes(16, 0xC3);
    description.files[1] = {.name = "C:\\Code\\Second.cs", .record = false};
    const auto file = open(description);
    EXPECT_EQ(file->get_document(0).checksum_algorithm.Data1, 0x406EA660u);
    EXPECT_EQ(file->get_document(0).checksum, bytes(16, 0xC3));
    EXPECT_THAT(file->get_document(1).checksum, IsEmpty());
    EXPECT_EQ(file->get_document(1).checksum_algorithm, GUID{});
}

TEST(Pdb, NamesThatDifferInCaseShareARecord) {
    auto description = sample_pdb_description();
    description.files[1] = {.name = "c:/CODE/first.CS", .record = false};
    const auto file = open(description);
    ASSERT_EQ(file->document_count(), 2u);
    EXPECT_EQ(file->document_url(1), L"c:/CODE/first.CS");
    EXPECT_EQ(file->get_document(1).checksum, bytes(20, 0xA1));
    EXPECT_EQ(file->find_document(L"c:/CODE/first.CS"), 1u);
    EXPECT_EQ(file->find_document(L"c:\\code\\FIRST.cs"), 0u);
    EXPECT_EQ(file->find_document(L"C:\\Code\\Third.cs"), std::nullopt);
}

TEST(Pdb, DocumentsWithoutASourceListComeFromTheModules) {
    auto description = sample_pdb_description();
    description.source_list = false;
    expect_sample_points(*open(description));
    // A record that no module refers to is a document as well.
    description.files.push_back({.name = "C:\\Code\\Unused.cs", .algorithm = test::sha1, .checksum = bytes(20, 1)});
    const auto file = open(description);
    ASSERT_EQ(file->document_count(), 3u);
    EXPECT_EQ(file->document_url(2), L"c:\\code\\unused.cs");
}

TEST(Pdb, EmbeddedSourceIsGivenAsRecorded) {
    auto description = sample_pdb_description();
    description.files[1].source = text("class C { }");
    const auto file = open(description);
    EXPECT_EQ(file->get_document(1).source_size, 11u);
    EXPECT_EQ(file->embedded_source(1), text("class C { }"));
}

TEST(Pdb, SourceServerDataAndSourceLinks) {
    auto description = sample_pdb_description();
    EXPECT_THAT(open(description)->source_server_data(), IsEmpty());
    EXPECT_THAT(open(description)->source_links(), IsEmpty());
    description.named = {{"srcsrv", text("SRCSRV: ini")},
                         {"sourcelink", text("{0}")},
                         {"sourcelink$1", text("{1}")},
                         {"sourcelink$2", text("{2}")}};
    const auto file = open(description);
    EXPECT_EQ(file->source_server_data(), text("SRCSRV: ini"));
    EXPECT_THAT(file->source_links(), ElementsAre(text("{0}"), text("{1}"), text("{2}")));
}

TEST(Pdb, PositionsLeadToMethods) {
    const auto file = open(sample_pdb_description());
    const auto first = file->find_document(L"C:\\Code\\First.cs").value();
    EXPECT_THAT(file->methods_at(first, 12), ElementsAre(0x06000001u));
    EXPECT_THAT(file->methods_at(first, 15), IsEmpty());
    EXPECT_EQ(file->closest_line(first, 14), 20u);
    EXPECT_EQ(file->closest_line(first, 21), std::nullopt);
}

TEST(Pdb, FileWithoutDebugInformationHasNoMethods) {
    const auto file = open_changed(sample_pdb_description(), [](auto& s) { s[test::dbi_stream_number].clear(); });
    EXPECT_EQ(file->id().age, 5u);
    EXPECT_THAT(file->methods(), IsEmpty());
}

TEST(Pdb, FilesThatCannotBeOpened) {
    const struct {
        const char* name;
        std::function<void(test::pdb_streams&)> change;
        const char* failure;
    } cases[] = {
        {"no info stream", [](auto& s) { s.streams[1].reset(); }, "PDB stream not found, 806d000e"},
        {"old info stream", [](auto& s) { poke(s[1], 0, 19970604, 4); }, "Unsupported PDB version, 806d000a"},
        {"short info stream", [](auto& s) { s[1].resize(20); }, "Unexpected end of PDB data, 806d000e"},
        {"old DBI stream", [](auto& s) { poke(s[3], 4, 19970606, 4); }, "Unsupported DBI version, 806d000a"},
        {"negative module list", [](auto& s) { poke(s[3], 24, 0xFFFFFFFF, 4); }, "Invalid DBI stream, 806d000e"},
        {"debug header outside", [](auto& s) { poke(s[3], 48, 0x10000, 4); }, "Invalid DBI stream, 806d000e"},
        {"module list cut off", [](auto& s) { poke(s[3], 24, 70, 4); }, "Unexpected end of PDB data, 806d000e"},
    };
    for (const auto& [name, change, failure] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(failure_of([&] { open_changed(sample_pdb_description(), change); }), failure);
    }
}

// What the first module's stream holds behind its symbols: the lines of 06000001 (8 + 12 + 12 bytes before the first
// line), those of 06000002, the file table.
constexpr std::size_t subsection_size = 4;
constexpr std::size_t block_file = 20;
constexpr std::size_t block_lines = 24;
constexpr std::size_t block_size = 28;

TEST(Pdb, BrokenMethodFailsAlone) {
    const std::tuple<const char*, std::size_t, std::uint32_t, const char*> cases[] = {
        {"too many lines", block_lines, 0x40000000, "Invalid line information, 806d000e"},
        {"block larger than the section", block_size, 0x1000, "Invalid line information, 806d000e"},
        {"block smaller than its header", block_size, 4, "Invalid line information, 806d000e"},
        {"file outside the table", block_file, 0x1000, "Invalid source file table, 806d000e"},
    };
    for (const auto& [name, position, value, failure] : cases) {
        SCOPED_TRACE(name);
        const auto file = open_changed(sample_pdb_description(), [&, at = position, number = value](auto& s) {
            poke(s[s.modules[0]], s.symbol_sizes[0] + at, number, 4);
        });
        EXPECT_EQ(failure_of([&] { file->points(0x06000001); }), failure);
        EXPECT_EQ(file->points(0x06000002).size(), 2u);
        EXPECT_EQ(file->points(0x06000004).size(), 2u);
        EXPECT_THAT(file->methods_at(file->find_document(L"C:\\Code\\First.cs").value(), 11), IsEmpty());
    }
}

TEST(Pdb, BrokenModuleFailsAlone) {
    const std::pair<const char*, std::function<void(test::pdb_streams&)>> cases[] = {
        {"subsection outside the lines",
         [](auto& s) { poke(s[s.modules[0]], s.symbol_sizes[0] + subsection_size, 0xFFFFFFF0, 4); }},
        {"stream that ends within the lines", [](auto& s) { s[s.modules[0]].resize(s.symbol_sizes[0] + 30); }},
    };
    for (const auto& [name, change] : cases) {
        SCOPED_TRACE(name);
        const auto file = open_changed(sample_pdb_description(), change);
        EXPECT_EQ(failure_of([&] { file->points(0x06000001); }), "Invalid line information, 806d000e");
        EXPECT_EQ(failure_of([&] { file->points(0x06000002); }), "Invalid line information, 806d000e");
        EXPECT_EQ(file->points(0x06000004).size(), 2u);
    }
}

TEST(Pdb, BrokenSymbolRecordLosesWhatFollowsItOnly) {
    auto description = sample_pdb_description();
    description.references = false;
    const auto file = open_changed(description, [](auto& s) { poke(s[s.modules[0]], 4 + 48, 0, 2); });
    EXPECT_EQ(file->points(0x06000001).size(), 4u);
    EXPECT_THAT(file->points(0x06000002), IsEmpty());
    EXPECT_EQ(file->points(0x06000004).size(), 2u);
}

TEST(Pdb, LinesOfOldCompilersAreReportedAsSuch) {
    constexpr std::size_t c11_field = 64 + 32 + 4 + 4;
    const auto file = open_changed(sample_pdb_description(), [](auto& s) {
        poke(s[test::dbi_stream_number], c11_field, 16, 4);
        poke(s[test::dbi_stream_number], c11_field + 4, 0, 4);
    });
    EXPECT_EQ(failure_of([&] { file->points(0x06000001); }), "Unsupported line information, 806d000a");
    EXPECT_EQ(file->points(0x06000004).size(), 2u);
}

TEST(Pdb, BrokenDocumentFailsAlone) {
    const auto file = open_changed(sample_pdb_description(), [](auto& s) { poke(s[s.files[0]], 64, 0xFFFFFFFF, 4); });
    EXPECT_EQ(failure_of([&] { file->get_document(0); }), "Invalid document, 806d000e");
    EXPECT_EQ(file->document_url(0), L"C:\\Code\\First.cs");
    EXPECT_EQ(file->get_document(1).checksum.size(), 32u);
    EXPECT_EQ(file->points(0x06000001).size(), 4u);
}

TEST(Pdb, DocumentNameThatIsNoTextFailsAlone) {
    auto description = sample_pdb_description();
    description.files[0].name = "C:\\Code\\\xFF.cs";
    const auto file = open(description);
    EXPECT_EQ(failure_of([&] { file->document_url(0); }), "Invalid document name, 806d000e");
    EXPECT_EQ(file->document_url(1), L"C:\\Code\\Second.cs");
    EXPECT_EQ(file->points(0x06000001).size(), 4u);
}

// Without names every method with lines fails, and what needs no name is answered.
TEST(Pdb, BrokenStringTable) {
    const auto file =
        open_changed(sample_pdb_description(), [](auto& s) { poke(s[test::names_stream_number], 0, 0, 4); });
    EXPECT_EQ(failure_of([&] { file->points(0x06000001); }), "Invalid string table, 806d000e");
    EXPECT_EQ(file->methods().size(), 3u);
    EXPECT_EQ(file->get_document(0).checksum, bytes(20, 0xA1));
}

TEST(Pdb, ThreadsAskOneFileAtOnce) {
    const auto file = open(sample_pdb_description());
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&file] {
            expect_sample_points(*file);
            EXPECT_EQ(file->get_document(0).checksum.size(), 20u);
            EXPECT_EQ(file->closest_line(0, 14), 20u);
        });
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace qv::classic_reader
