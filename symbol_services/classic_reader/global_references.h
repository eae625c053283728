// References from method tokens to symbols, found through the hash table of the global symbols.
//
//   stream of the global symbols
//      4  -1
//      4  0xF12F091A, the version
//      4  size of the hash records in bytes
//      4  size of the buckets in bytes
//    8*n  hash records, ordered by bucket: offset of a symbol record plus 1, reference count
//    516  one bit for each of 4097 buckets: whether it is present
//    4*m  the present buckets: index of the first hash record, times 12
//
//   record of a managed procedure in the stream of the symbol records (S_TOKENREF)
//      2  length of what follows
//      2  0x1129
//      4  0
//      4  offset of the procedure in the module's stream
//      2  number of the module, counted from 1
//      -  name, ended by NUL: the token as eight lower-case hexadecimal digits
//
// A lookup reads a few bytes wherever it must look, never a whole stream.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "symbol_services/classic_reader/msf.h"

namespace qv::classic_reader {

// Where a procedure's record lies.
struct procedure_location {
    std::uint32_t module;  // index into the module list
    std::uint32_t offset;  // in the module's stream

    friend bool operator==(const procedure_location&, const procedure_location&) = default;
};

// Immutable; the container outlives it.
class global_references {
public:
    // Throws also e_pdb_not_implemented, for other versions.
    global_references(const msf_stream& global_symbols, const msf_stream& symbol_records);

    // Looks through the bucket of a token of the PDB file until `visit` answers true to a place, and counts every entry
    // down from the allowance; at 0 the rest is left unread. What the table says may be untrue: the procedure's record
    // shows.
    void find(std::uint32_t pdb_token, std::uint64_t& allowance,
              const std::function<bool(const procedure_location&)>& visit) const;

    // More entries than any bucket holds of a table that a linker wrote.
    std::uint64_t largest_bucket() const noexcept;
    std::uint64_t size() const noexcept { return record_count_; }

private:
    struct record_range {
        std::uint64_t begin;
        std::uint64_t end;
    };
    record_range records_of(std::uint32_t bucket) const;

    msf_stream symbols_;
    msf_stream records_;
    std::vector<std::uint32_t> present_;  // bits
    std::vector<std::uint32_t> ranks_;    // of each word of them: how many are set before it
    std::uint64_t record_count_ = 0;
    std::uint64_t buckets_at_ = 0;
    std::uint64_t bucket_count_ = 0;
};

// The hash of the table: the name's 32-bit words, then what is left, folded together without letter case.
std::uint32_t hash_name(std::string_view name) noexcept;

constexpr std::uint32_t global_bucket_count = 4096;

}  // namespace qv::classic_reader
