// The PDB info stream: what identifies the file, and the streams that have a name.
//
//      4  version; 20000404 and later have the GUID
//      4  signature (a time stamp)
//      4  age of the file: how often it was written, source indexing included
//     16  GUID
//      4  size of the name buffer, then the buffer: names, each ended by NUL
//      4  number of entries          | the hash table, which is only listed here: every bucket that is present
//      4  number of buckets          | contributes one entry, and chains are not followed
//      4  words of the present bits, then the words
//      4  words of the deleted bits, then the words
//    8*n  entries: offset into the name buffer, stream
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "quorvex/common/guid.h"
#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/name_index.h"

namespace qv::classic_reader {

struct pdb_info {
    std::uint32_t version;
    std::uint32_t signature;
    std::uint32_t age;
    GUID guid;
};

// Immutable.
class named_streams {
public:
    using named_stream = std::pair<std::string_view, std::uint32_t>;

    named_streams() = default;
    named_streams(named_streams&&) = default;
    named_streams& operator=(named_streams&&) = default;

    // The names as they lie in the file, in their order there. Names do not overlap: an entry that points outside the
    // name buffer, or into the name of another entry, is left out.
    const std::vector<named_stream>& all() const noexcept { return all_; }

    // ASCII letters match in either case.
    std::optional<std::uint32_t> find(std::string_view name) const;

private:
    friend named_streams read_named_streams(byte_cursor& cursor);

    std::vector<char> names_;
    std::vector<char> folded_;  // the names in lower case
    std::vector<named_stream> all_;
    name_index by_folded_name_;
};

// The two parts of the stream, in order. Both throw "Unexpected end of PDB data"; the first also "Unsupported PDB
// version" (e_pdb_not_implemented).
pdb_info read_pdb_info(byte_cursor& cursor);
named_streams read_named_streams(byte_cursor& cursor);

}  // namespace qv::classic_reader
