// Portable PDBs and images that the seeds are made of, and what the targets share that read metadata.
#pragma once

#include "tests/fuzz/fuzz_target.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/costly_files/costly_files.h"

namespace qv::fuzz {

constexpr GUID sample_mvid = {0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};
constexpr GUID sample_pdb_guid = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {13, 13, 13, 13, 13, 13, 13, 13}};
constexpr std::uint32_t sample_stamp = 0x5EED5EED;

// Every kind of content that a query can meet: several documents, hidden points, a document record, Source Link.
inline test::portable_pdb_builder sample_pdb() {
    test::portable_pdb_builder builder(sample_pdb_guid, sample_stamp);
    builder.metadata().pdb(sample_pdb_guid, sample_stamp, {{0x00, 1}, {0x06, 4}});
    builder.document("/src/\xC3\xA4/a.cs", test::sha256, test::bytes(32, 7));
    builder.document("C:/b.cs", test::sha1, test::bytes(20, 8));
    const std::uint32_t folder = builder.metadata().blob("\xED\x9F\xBF\xF0\x9F\x98\x80");
    for (const unsigned separator : {0x2Fu, 0u})
        builder.document_with_name(test::byte_writer().u8(separator).u8(0).packed(folder).packed(folder).data());
    builder.method(
        1, {0, 0, 0, 1, 10, 5, 4, 0, 0, 1, 1, 0x81, 0x8E, 0x82, 0x44, 0x77, 0xC0, 1, 0x11, 0x6B, 2, 0, 1, 2, 3});
    builder.method(2, {});
    builder.method(0, {0, 2, 0, 0, 1, 20, 3, 0, 1, 2, 1, 1, 1, 0x7F});
    builder.custom(3, test::sha1, {1, 2, 3});
    builder.source_link("{\"documents\":{\"/src/*\":\"https://example.com/*\"}}");
    return builder;
}

inline test::pe_builder sample_image(test::pe_kind kind) {
    test::pe_builder builder(kind);
    builder.metadata(test::image_metadata(sample_mvid, 4).build());
    builder.codeview(sample_pdb_guid, sample_stamp, "C:\\x\\a.pdb").embedded(sample_pdb().build());
    return builder;
}

inline std::vector<bytes> metadata_seeds() {
    test::metadata_builder wide = test::image_metadata(sample_mvid, 3);
    wide.heap_sizes(0x47);
    wide.add_rows(0x02, 2).add_rows(0x0C, 2).add_rows(0x27, 1);
    test::metadata_builder scopes;
    scopes.table_stream_name("#-").wide_indexes({7, 26});
    scopes.pdb({}, 0, {{0x06, 70'000}}).add_rows(0x32, 3).add_rows(0x36, 2).add_rows(0x37, 2);
    test::portable_pdb_builder wide_pdb = sample_pdb();
    wide_pdb.metadata().heap_sizes(7);
    // Long runs of what a decoder may read at once: visible points, hidden ones, and some on one line.
    test::portable_pdb_builder many_points(sample_pdb_guid, sample_stamp);
    bytes points = {0};
    for (unsigned char i = 1; i < 60; ++i)
        for (const int byte : {int{i}, 1, 2, 4, 7, 1, 0, 0, 1, 0, 9, 3, 0x7F})
            points.push_back(static_cast<unsigned char>(byte));
    many_points.method(1, points);
    test::portable_pdb_builder many_scopes(sample_pdb_guid, sample_stamp);
    many_scopes.metadata().add_rows(0x35, 2048).wide_indexes({26});
    many_scopes.source_link("{}");
    std::vector<bytes> result;
    for (const auto& block : {test::image_metadata(sample_mvid, 3), wide, scopes, sample_pdb().metadata(),
                              wide_pdb.metadata(), many_points.metadata(), many_scopes.metadata()})
        result.push_back(block.build());
    for (const auto& shape : test::portable_costly_shapes())
        if (shape.name == "HiddenStreamNames") result.push_back(shape.make(200).pdb);
    return result;
}

inline const std::vector<std::string> metadata_words = {"#~", "#-", "#Pdb", "#Strings", "#Blob", "#GUID", "#US"};

inline void mend_metadata(bytes& input) {
    put(input, 0, "BSJB");
}

}  // namespace qv::fuzz
