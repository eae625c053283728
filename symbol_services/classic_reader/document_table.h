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
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "quorvex/common/guid.h"
#include "symbol_services/classic_reader/msf.h"
#include "symbol_services/classic_reader/pdb_info.h"

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
    std::string name;                     // UTF-8, if the file is right
    std::optional<std::uint32_t> module;  // the first one that lists it
    std::optional<std::uint32_t> stream;  // its record
};

// Immutable once built.
class document_table {
public:
    // Takes note of the records; documents are added afterwards. The names outlive the table.
    explicit document_table(const named_streams& streams);
    document_table(document_table&&) = default;

    // Enters a name unless it is there already.
    void add(std::string_view name, std::uint32_t module);
    // Enters the records that no name refers to.
    void add_unlisted();

    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(documents_.size()); }
    const listed_document& operator[](std::uint32_t index) const { return documents_[index]; }

    // The document of exactly this name.
    std::optional<std::uint32_t> find(std::string_view name) const;
    // The first one whose name differs in letter case and slashes at most. Looks at all of them.
    std::optional<std::uint32_t> find_folded(std::string_view name) const;

private:
    struct record {
        std::uint32_t stream;
        bool listed = false;
    };

    std::unordered_map<std::string_view, record> records_;  // by name below the prefix
    std::deque<listed_document> documents_;                 // never moves what it holds
    std::unordered_map<std::string_view, std::uint32_t> by_name_;
};

// Reads a document's record into `document`, its URL aside. Throws "Invalid document" and what the stream throws.
void read_document_record(const msf_stream& record, document& document);

// The source that a record embeds, as it is there; empty without one. Throws as above.
std::vector<unsigned char> read_embedded_source(const msf_stream& record);

// The algorithm of a checksum in a file table; zeros for none and for unknown ones.
GUID checksum_algorithm(std::uint8_t kind) noexcept;

}  // namespace qv::classic_reader
