// The string table: the stream "/names", where names are known by their offset.
//
//      4  0xEFFEEFFE
//      4  version of the hash that follows the names
//      4  size of the names in bytes
//      -  names in UTF-8, each ended by NUL
//      -  hash table, of no interest to a reader
#pragma once

#include <cstdint>
#include <string>

#include "symbol_services/classic_reader/msf.h"

namespace qv::classic_reader {

// Immutable; the container outlives it.
class string_table {
public:
    // Throws "Invalid string table" and what the stream throws.
    explicit string_table(const msf_stream& stream);

    // Reads this name only. Names do not overlap, so that all of them together are no longer than the table: an offset
    // into the middle of a name is none. Throws "Invalid name offset" and what the stream throws.
    std::string text(std::uint32_t offset) const;

    // Whether there is a name at the offset.
    bool has_name(std::uint32_t offset) const;

    std::uint32_t size() const noexcept { return size_; }

private:
    msf_stream stream_;
    std::uint32_t size_;
};

}  // namespace qv::classic_reader
