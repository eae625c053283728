// Builds metadata blocks (ECMA-335 II.24.2): of images, and with a "#Pdb" stream of portable PDBs.
//
// It knows the column layout of every table on its own, and it is told which indexes are 4 bytes wide: what a test
// expects of the reader's width rules stands in the test, not here.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/builders/bytes.h"

namespace qv::test {

// The columns of each table: a digit is a fixed column of so many bytes; s, g and b are indexes into the string, GUID
// and blob heap; a capital letter is an index of the kind with its number in the alphabet, '[' being kind 26.
const std::map<unsigned, std::string_view>& table_columns();

class metadata_builder {
public:
    // Rows of one table: each row is its column values in order. A row may be short; the rest is zero.
    using row = std::vector<std::uint32_t>;

    // Heap items; each returns its index. Blob 0 and the empty string 0 are there from the start.
    std::uint32_t string(std::string_view text);
    std::uint32_t blob(const bytes& content);
    std::uint32_t blob(std::string_view text) { return blob(bytes(text.begin(), text.end())); }
    std::uint32_t guid(const GUID& value);

    // Appends bytes to the blob heap that are no whole blob; returns their index.
    std::uint32_t raw_blob(const bytes& content);

    metadata_builder& add_row(unsigned table, row values);
    // Further rows of zeros.
    metadata_builder& add_rows(unsigned table, std::uint32_t count);

    // Makes these index kinds 4 bytes wide (numbers 0 to 26, in the order in which the format lists them: nine simple
    // kinds, thirteen coded kinds, then Document, ImportScope, LocalVariable, LocalConstant and
    // HasCustomDebugInformation).
    void wide_indexes(const std::set<unsigned>& kinds) { wide_ = kinds; }
    // The heap-sizes byte: 1 strings, 2 GUIDs, 4 blobs are 4 bytes wide; 0x40 four extra bytes after the row counts.
    void heap_sizes(unsigned char bits) { heap_sizes_ = bits; }

    // Adds the "#Pdb" stream: the PDB's id, and the rows of the image's tables by table number.
    metadata_builder& pdb(const GUID& guid, std::uint32_t stamp,
                          const std::map<unsigned, std::uint32_t>& referenced = {});

    // Rather than the usual ones; the length field counts the terminator and any padding.
    metadata_builder& version(std::string text);
    metadata_builder& table_stream_name(std::string name);  // empty: no table stream

    // Adds a stream that the builder does not know; it comes first in the block.
    metadata_builder& stream(std::string name, bytes content);

    bytes table_stream() const;
    bytes build() const;

private:
    void write_rows(byte_writer& out, unsigned table, const std::vector<row>& rows) const;
    unsigned column_width(char column) const;

    bytes strings_ = bytes(1);
    bytes blobs_ = bytes(1);
    bytes guids_;
    std::map<unsigned, std::vector<row>> tables_;
    std::set<unsigned> wide_;
    unsigned char heap_sizes_ = 0;
    bytes pdb_stream_;
    std::string version_{"PDB v1.0\0\0\0\0", 12};
    std::string table_stream_name_ = "#~";
    std::vector<std::pair<std::string, bytes>> streams_;
};

// The metadata of an image with this MVID and so many methods.
metadata_builder image_metadata(const GUID& mvid, std::uint32_t methods = 0);

}  // namespace qv::test
