#include "pdb_server/src/ppdb/ppdb_module_data.h"

#include <gmock/gmock.h>

#include <random>

#include "diagnostics/exception_test_support.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

using test::byte_writer;
using test::bytes;
using test::hidden;
using test::message_of;
using test::portable_pdb_builder;
using testing::ElementsAre;
using testing::IsEmpty;

using numbers = std::vector<std::uint32_t>;

std::unique_ptr<ppdb_module_data> load(const portable_pdb_builder& builder) {
    return std::make_unique<ppdb_module_data>(GUID{}, std::make_unique<metadata_container>(builder.build()));
}

portable_pdb_builder pdb() {
    return {GUID{}, 0};
}

// The points of a method with this blob, as rows of IL offset, document, start line, start column, end line, end
// column.
std::vector<numbers> points_of_blob(std::uint32_t document, const bytes& blob) {
    portable_pdb_builder builder = pdb();
    builder.method(document, blob);
    const auto module = load(builder);
    point_values columns[6] = {{9}, {9}, {9}, {9}, {9}, {9}};
    module->get_method_offsets(0x06000001, columns[0]);
    module->get_method_ranges(0x06000001, columns[1], columns[2], columns[3], columns[4], columns[5]);
    std::vector<numbers> points(columns[0].size());
    for (const point_values& column : columns) {
        EXPECT_EQ(column.size(), points.size());
        for (std::size_t i = 0; i < points.size(); ++i) points[i].push_back(column.at(i));
    }
    return points;
}

TEST(SequencePoints, AreGivenInBlobOrder) {
    // IL offset, lines, columns, then where the point begins or how far behind the visible point before it; a point
    // without lines and columns is hidden. Positions wrap at 32 bits; of the lead byte of four only the low five bits
    // count.
    const std::pair<bytes, numbers> records[] = {
        {{0, 0, 0}, {0, 4, hidden, 0, hidden, 0}},
        {{2, 0, 1, 10, 5}, {2, 4, 10, 5, 10, 6}},
        {{1, 3, 0x73, 2, 8}, {3, 4, 11, 9, 14, 2}},
        {{0x81, 0x29, 0, 0}, {300, 4, hidden, 0, hidden, 0}},
        {{1, 0, 79, 0x7D, 0x71}, {301, 4, 9, 1, 9, 80}},
        {{0xE0, 1, 0x10, 0x43, 1, 0xBD, 0xAB, 0x83, 0xD6, 0x82, 0x56}, {70'000, 4, 500, 300, 501, 1}},
        {{1, 0, 1, 0x80, 0x01, 0xBD, 0x53}, {70'001, 4, 0xFFFFE1F4, 0xFFFFFFD5, 0xFFFFE1F4, 0xFFFFFFD6}}};
    bytes blob = {0};  // the signature of the local variables
    std::vector<numbers> points;
    for (const auto& [record, expected] : records) {
        for (std::size_t i = 0; i < record.size(); ++i) {
            // Between two records the blob may end, but not before the first one.
            const bool may_end = i == 0 && !points.empty();
            EXPECT_EQ(message_of([&] { points_of_blob(4, blob); }), may_end ? "" : "End of region");
            blob.push_back(record[i]);
        }
        points.push_back(expected);
        EXPECT_EQ(points_of_blob(4, blob), points);
    }
}

TEST(SequencePoints, DocumentRecordsChangeTheDocumentOfWhatFollows) {
    byte_writer blob;
    blob.packed(0).packed(8);                                 // local signature, initial document
    blob.packed(0).packed(0).packed(0);                       // hidden; a first offset of zero is no document record
    blob.packed(0).packed(300).packed(0).packed(9);           // two document records
    blob.packed(2).packed(0).packed(1).packed(20).packed(3);  // visible
    EXPECT_THAT(points_of_blob(0, blob.data()),
                ElementsAre(numbers{0, 8, hidden, 0, hidden, 0}, numbers{2, 9, 20, 3, 20, 4}));
}

// Long and short records in any order, more than are gathered at once.
TEST(SequencePoints, OfAllFormsFollowEachOther) {
    std::mt19937 random(1);
    const auto pick = [&](std::uint32_t count) { return static_cast<std::uint32_t>(random() % count); };
    const auto pick_number = [&] { return pick(8) != 0 ? pick(0x80) : pick(pick(2) == 0 ? 0x4000 : 0x20000000); };
    const auto to_signed = [](std::uint32_t bits) {
        return (bits >> 1) - ((bits & 1) << (bits < 0x80 ? 6 : bits < 0x4000 ? 13 : 28));
    };
    byte_writer blob;
    blob.packed(0).packed(1);
    std::uint32_t document = 1, il_offset = 0, line = 0, column = 0;
    bool first_visible = true;
    std::vector<numbers> points;
    while (points.size() < 1000) {
        if (!points.empty() && pick(10) == 0) blob.packed(0).packed(document = pick(1000));
        const std::uint32_t step = 1 + pick_number() / 2;
        const bool is_hidden = pick(4) == 0;
        const std::uint32_t lines = is_hidden || pick(2) == 0 ? 0 : pick_number();
        const std::uint32_t columns = is_hidden ? 0 : 1 + pick_number() / 2;
        blob.packed(step).packed(lines).packed(columns);
        il_offset += step;
        points.push_back({il_offset, document, hidden, 0, hidden, 0});
        if (is_hidden) continue;
        const std::uint32_t down = pick_number(), right = pick_number();
        blob.packed(down).packed(right);
        line += first_visible ? down : to_signed(down);
        column += first_visible ? right : to_signed(right);
        first_visible = false;
        points.back() = {il_offset, document,     line,
                         column,    line + lines, column + (lines == 0 ? columns : to_signed(columns))};
    }
    EXPECT_EQ(points_of_blob(0, blob.data()), points);
}

std::string document_name(module_data& module, std::uint32_t id) {
    std::wstring name = L"before";
    GUID algorithm;
    bytes hash;
    module.get_document(id, name, algorithm, hash);
    return text::to_utf8(name);
}

TEST(Documents, WithoutTheTableOnlyTheAlgorithmIsLeftAsItWas) {
    std::wstring name = L"before";
    GUID algorithm = test::sha1;
    bytes hash = {9};
    load(pdb())->get_document(1, name, algorithm, hash);
    EXPECT_EQ(name, L"");
    EXPECT_EQ(algorithm, test::sha1);
    EXPECT_THAT(hash, IsEmpty());
}

// A PDB whose blob heap holds the parts "src" at 5 and "a.cs" at 9, and one document with this name blob.
std::string name_of(const bytes& name_blob) {
    portable_pdb_builder builder = pdb();
    builder.metadata().raw_blob({0, 0, 0, 0});
    builder.metadata().blob("src");
    builder.metadata().blob("a.cs");
    builder.metadata().blob("\xC3\x28");                  // at 14: no continuation byte
    builder.metadata().blob("\xE2\x82");                  // at 17: ends inside a character
    builder.metadata().blob("\x80");                      // at 20
    builder.metadata().raw_blob({0x7F});                  // at 22: leaves the heap
    builder.metadata().blob("\xED\xA0\x80");              // at 23: an encoded surrogate
    builder.metadata().blob("\xED\x9F\xBF\xEE\x80\x80");  // at 27: the characters beside them
    builder.document_with_name(name_blob);
    return document_name(*load(builder), 1);
}

TEST(DocumentNames, PartsAreJoinedByTheSeparator) {
    EXPECT_EQ(name_of({'/', 5, 9}), "src/a.cs");
    EXPECT_EQ(name_of({'/', 0, 5, 9}), "/src/a.cs");
    EXPECT_EQ(name_of({'\\', 5, 0, 0}), "src\\\\");
    EXPECT_EQ(name_of({0, 5, 9}), "srca.cs");
    EXPECT_EQ(name_of({0xC3, 0xA4, 5, 9}),
              "src\xC3\xA4"
              "a.cs");
    EXPECT_EQ(name_of({'/', 0x80, 5, 0xC0, 0, 0, 9}), "src/a.cs");
    EXPECT_EQ(name_of({'/'}), "");
    EXPECT_EQ(name_of({'/', 27}), "\xED\x9F\xBF\xEE\x80\x80");
}

TEST(DocumentNames, Failures) {
    struct {
        bytes blob;
        const char* message;
    } const cases[] = {
        {{}, "End of region"},
        {{0xC3}, "End of region"},
        {{0x80, 5}, "Unexpected UTF8 slave symbol at master position"},
        {{0xFF, 5}, "Invalid UTF8 master symbol"},
        {{0xC3, 0x28, 5}, "bad conversion"},
        {{'/', 0x80}, "End of region"},
        {{'/', 14}, "bad conversion"},
        {{'/', 23}, "bad conversion"},
        {{0xED, 0xBF, 0xBF}, "bad conversion"},
        {{'/', 17}, "End of region"},
        {{'/', 20}, "Unexpected UTF8 slave symbol at master position"},
        {{'/', 22}, "Out of arent region"},
        {{'/', 0xBF, 0xFF}, "End of region"},
    };
    for (const auto& item : cases) EXPECT_EQ(message_of([&] { name_of(item.blob); }), item.message);
}

TEST(DocumentNames, CannotGrowWithoutEnd) {
    portable_pdb_builder builder = pdb();
    builder.metadata().heap_sizes(4);
    const std::uint32_t half = builder.metadata().blob(std::string(max_document_name / 2, 'x'));
    builder.document_with_name(byte_writer().u8(0).packed(half).packed(half).data());
    builder.document_with_name(byte_writer().u8('/').packed(half).packed(half).data());
    const auto module = load(builder);
    EXPECT_EQ(document_name(*module, 1).size(), max_document_name);
    EXPECT_EQ(message_of([&] { document_name(*module, 2); }), "Too long document name");
    EXPECT_EQ(message_of([&] { document_name(*module, 3); }), "Too large table index");
}

TEST(SourceLink, IsTheValueOfTheFirstRecordOfItsKindWhichIsTheModules) {
    const struct {
        std::uint32_t parent;
        GUID kind;
        const char* outcome;
    } cases[] = {{test::module_parent, test::sha1, "second"},
                 {test::module_parent, test::source_link_kind, "first"},
                 {1 << 5 | 0, test::source_link_kind, "Invalid parent index type"},
                 {1 << 5 | 31, test::source_link_kind, "Invalid parent index type"},
                 {2 << 5 | 7, test::source_link_kind, "Invalid parent index rid"},
                 {0 << 5 | 7, test::source_link_kind, "Invalid parent index rid"},
                 {1 << 5 | 7, {}, "Zero #GUID stream index"}};
    for (const auto& item : cases) {
        portable_pdb_builder builder = pdb();
        builder.custom(item.parent, item.kind, {'f', 'i', 'r', 's', 't'});
        builder.source_link("second");
        bytes data = {1};
        const std::string failure = message_of([&] { load(builder)->get_source_server_data(data); });
        EXPECT_EQ(data.empty() ? failure : std::string(data.begin(), data.end()), item.outcome);
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_server
