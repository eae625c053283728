#include <algorithm>
#include <string_view>

#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/costly_files/costly_files.h"

namespace qv::test {
namespace {

constexpr GUID pdb_guid = {0xC0571111, 0xF11E, 0x4711, {0x80, 7, 6, 5, 4, 3, 2, 1}};
constexpr std::uint32_t stamp = 0xC0571111;
constexpr std::size_t debug_entry_size = 28;

pe_builder image() {
    return pe_builder().metadata(image_metadata(costly_mvid, 1).build());
}

costly_files with_pdb(bytes pdb) {
    return {image().codeview(pdb_guid, stamp, costly_pdb_name).build().data, std::move(pdb)};
}

// Lets a debug entry have its data anywhere in the file.
void place_debug_data(pe_image& image, std::size_t entry, std::size_t size, std::size_t offset) {
    const std::size_t at = image.debug_directory + debug_entry_size * entry;
    poke(image.data, at + 16, size, 4);
    poke(image.data, at + 24, offset, 4);
}

bytes noise(std::size_t size) {
    bytes data;
    data.reserve(size);
    for (std::uint32_t state = 1; data.size() < size; state = state * 1664525 + 1013904223)
        data.push_back(static_cast<unsigned char>(state >> 24));
    return data;
}

// Stream headers. The name of each hides its end inside a two-byte character, so that who walks the name in characters
// walks on to the last header, while the next header is 12 bytes on.
costly_files hidden_stream_names(std::size_t headers) {
    constexpr std::size_t first_header = 32;
    portable_pdb_builder pdb(pdb_guid, stamp);
    pdb.document("/src/a.cs");
    for (std::size_t i = 0; i < headers; ++i) pdb.metadata().stream("ab", {});
    bytes data = pdb.build();
    const bytes hiding = byte_writer().text("ABCDEFGHx\xC2").u8(0).text("y").data();
    for (std::size_t i = 0; i + 1 < headers; ++i)
        std::copy(hiding.begin(), hiding.end(),
                  data.begin() + static_cast<std::ptrdiff_t>(first_header + hiding.size() * i));
    return with_pdb(std::move(data));
}

// Debug entries whose data no section holds, among more sections than entries.
costly_files entries_in_no_section(std::size_t entries) {
    pe_builder builder = image();
    builder.further_sections(static_cast<unsigned>(std::min<std::size_t>(entries + entries / 10, 65'534)));
    for (std::size_t i = 0; i < entries; ++i) builder.debug_entry(2, 0x504D, stamp, {});
    pe_image image = builder.build();
    for (std::size_t i = 0; i < entries; ++i) place_debug_data(image, i, 1, image.data.size() + i);
    return {std::move(image.data), {}};
}

// Debug entries that all have the same data, which is larger than they are.
costly_files entries_on_one_data(std::size_t entries) {
    const std::size_t shared = entries * 66;
    pe_builder builder = image().debug_entry(2, 0x504D, stamp, noise(shared));
    for (std::size_t i = 1; i < entries; ++i) builder.debug_entry(2, 0x504D, stamp, {});
    pe_image image = builder.build();
    for (std::size_t i = 1; i < entries; ++i) place_debug_data(image, i, shared, image.debug_data[0]);
    return {std::move(image.data), {}};
}

// CodeView entries for other builds of the one PDB beside the image, each in words of its own.
costly_files entries_on_one_pdb(std::size_t entries) {
    pe_builder builder = image();
    for (std::size_t i = 0; i < entries; ++i)
        builder.codeview({static_cast<std::uint32_t>(i), 0, 0, {}}, stamp, costly_pdb_name);
    portable_pdb_builder pdb(pdb_guid, stamp);
    pdb.source_link(std::string(1'000'000, ' '));
    return {builder.build().data, pdb.build()};
}

// Bytes of a CodeView entry's path.
costly_files long_recorded_path(std::size_t length) {
    return {image().codeview(pdb_guid, stamp, std::string(length, 'a')).build().data, {}};
}

// Bytes of an embedded PDB that is no deflate stream and declares 4 GB. The entry before it says that it is portable.
costly_files embedded_garbage(std::size_t size) {
    const bytes packed = byte_writer().text("MPDB").u32(0xFFFFFFFF).append(noise(size)).data();
    return {image().codeview(pdb_guid, stamp, costly_pdb_name).debug_entry(17, 0x0100, 0, packed).build().data, {}};
}

// MiB of an embedded PDB that begins as one and goes on with nothing.
costly_files embedded_void(std::size_t mebibytes) {
    bytes pdb(mebibytes << 20);
    std::ranges::copy(std::string_view("BSJB"), pdb.begin());
    return {image().codeview(pdb_guid, stamp, costly_pdb_name).embedded(pdb).build().data, {}};
}

// Parts of the name of document 1, each the same blob of 1 MB.
costly_files document_of_long_parts(std::size_t parts) {
    portable_pdb_builder pdb(pdb_guid, stamp);
    pdb.metadata().heap_sizes(4);
    const std::uint32_t part = pdb.metadata().blob(std::string(1'000'000, 'x'));
    byte_writer blob;
    blob.u8('/');
    for (std::size_t i = 0; i < parts; ++i) blob.packed(part);
    pdb.document_with_name(blob.data());
    return with_pdb(pdb.build());
}

}  // namespace

std::vector<costly_shape> portable_costly_shapes() {
    return {{"HiddenStreamNames", 60'000, hidden_stream_names},
            {"EntriesInNoSection", 60'000, entries_in_no_section},
            {"EntriesOnOneData", 60'000, entries_on_one_data},
            {"EntriesOnOnePdb", 60'000, entries_on_one_pdb},
            {"LongRecordedPath", 4'000'000, long_recorded_path},
            {"EmbeddedGarbage", 4'000'000, embedded_garbage},
            {"EmbeddedVoid", 256, embedded_void},
            {"DocumentOfLongParts", 200'000, document_of_long_parts}};
}

}  // namespace qv::test
