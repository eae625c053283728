// The documents of a PDB file: the source files that its modules list, and what is recorded about each.
//
//   stream "/src/files/" plus the path in lower case with backslashes
//     16  language
//     16  vendor of the language
//     16  kind of the document
//     16  algorithm of the checksum
//      4  size of the checksum
//      4  size of the source
//      -  checksum, source
//
// Names that differ in letter case only are different documents with one record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/guid.h"
#include "symbol_services/classic_reader/lazy.h"
#include "symbol_services/classic_reader/msf.h"
#include "symbol_services/classic_reader/names.h"

namespace qv::classic_reader {

struct document {
    std::wstring url;
    GUID language;
    GUID vendor;
    GUID type;
    GUID checksum_algorithm;  // zeros without a checksum
    std::vector<unsigned char> checksum;
    std::uint32_t source_size;  // of the embedded source; 0 without one
};

// What the table knows about a document without opening its stream.
struct listed_document {
    std::string_view name;                // UTF-8, if the file is right
    std::optional<std::uint32_t> module;  // the first one that lists it
    std::optional<std::uint32_t> stream;  // its record
};

// The source files that modules list, and the buffer that holds their names.
struct source_names {
    std::vector<unsigned char> buffer;
    std::vector<listed_document> files;
};

// Immutable.
class document_table {
public:
    // The files, each name once, and then the records that no file refers to. The names of the streams outlive the
    // table.
    document_table(source_names sources, const named_streams& streams);

    std::uint32_t size() const { return static_cast<std::uint32_t>(listed_.size() + records().unlisted.size()); }
    listed_document operator[](std::uint32_t index) const;
    std::string_view name(std::uint32_t index) const;

    // The document of exactly this name.
    std::optional<std::uint32_t> find(std::string_view name) const;
    // The first one whose name differs in letter case and slashes at most.
    std::optional<std::uint32_t> find_folded(std::string_view name) const;

private:
    struct folded_names {
        std::vector<std::string> names;
        name_index index;
    };

    // Who asks for the lines of a method needs none of them.
    struct joined_records {
        std::vector<std::optional<std::uint32_t>> of_listed;  // streams
        std::vector<listed_document> unlisted;                // those that no file refers to
        name_index unlisted_by_name;
    };

    const joined_records& records() const;
    joined_records join_records() const;

    const named_streams& streams_;
    std::vector<unsigned char> buffer_;
    std::vector<listed_document> listed_;
    name_index listed_by_name_;
    lazy<joined_records> records_;
    lazy<folded_names> by_folded_name_;
};

// Reads a document's record into `document`, its URL aside.
void read_document_record(const msf_stream& record, document& document);

// The source that a record embeds, as it is there; empty without one.
std::vector<unsigned char> read_embedded_source(const msf_stream& record);

// The algorithm of a checksum in a file table; zeros for none and for unknown ones.
GUID checksum_algorithm(std::uint8_t kind) noexcept;

}  // namespace qv::classic_reader
