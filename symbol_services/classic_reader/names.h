// What identifies a PDB file, and the names in it: the PDB info stream and the string table.
//
// The PDB info stream
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
//
// The string table: the stream "/names", where names are known by their offset
//
//      4  0xEFFEEFFE
//      4  version of the hash that follows the names
//      4  size of the names in bytes
//      -  names in UTF-8, each ended by NUL
//      -  hash table, of no interest to a reader
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/guid.h"
#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/msf.h"

namespace qv::classic_reader {

// A hash table whose buckets are sorted: names that were chosen to have one hash only make it an ordinary binary
// search. Filled once, then immutable.
class name_index {
public:
    // The name outlives the index.
    void add(std::string_view name, std::uint32_t value);
    // Makes the index ready for questions. Of equal names the first one stays.
    void finish();

    std::size_t size() const noexcept { return entries_.size(); }
    std::optional<std::uint32_t> find(std::string_view name) const;

private:
    struct entry {
        std::size_t hash;
        std::string_view name;
        std::uint32_t value;
    };

    static entry make_entry(std::string_view name, std::uint32_t value);
    static bool before(const entry& left, const entry& right) noexcept;
    std::size_t bucket_of(const entry& item) const noexcept { return item.hash & (begins_.size() - 2); }

    std::vector<entry> entries_;         // by bucket
    std::vector<std::uint32_t> begins_;  // of each bucket, and the end of the last one
};

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

// The two parts of the PDB info stream, in order. The first also throws e_pdb_not_implemented, for a version without
// GUID.
pdb_info read_pdb_info(byte_cursor& cursor);
named_streams read_named_streams(byte_cursor& cursor);

// Immutable; the container outlives it.
class string_table {
public:
    explicit string_table(const msf_stream& stream);

    // Reads this name only. Names do not overlap, so that all of them together are no longer than the table: an offset
    // into the middle of a name is none, and throws.
    std::string text(std::uint32_t offset) const;

    // Whether there is a name at the offset.
    bool has_name(std::uint32_t offset) const;

    std::uint32_t size() const noexcept { return size_; }

private:
    msf_stream stream_;
    std::uint32_t size_;
};

}  // namespace qv::classic_reader
