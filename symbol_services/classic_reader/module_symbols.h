// The symbols of a module: the procedures among them.
//
//   beginning of a module's stream
//      4  4, the version of the records
//      -  records, to the size that the module list gives
//
//   any record
//      2  length of what follows
//      2  kind
//      -  content
//
//   managed procedure (S_GMANPROC 0x112A, S_LMANPROC 0x112B); what belongs to it follows up to its S_END
//      4  record of the enclosing scope, 0 for none
//      4  record of its S_END
//      4  record of the next procedure
//      4  size of its code
//      8  where prologue and epilogue end
//      4  token
//      4  offset of its code | with the section, the key under which its lines are kept; in a pure IL image
//      2  section            | an address that is made up
//      -  flags, return register, name
//
// The links between records are not followed: the lengths alone lead from one record to the next.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "symbol_services/classic_reader/msf.h"

namespace qv::classic_reader {

// The place of code within the sections of an image.
struct code_address {
    std::uint16_t section;
    std::uint32_t offset;

    friend bool operator==(const code_address&, const code_address&) = default;
    friend bool operator<(const code_address& left, const code_address& right) noexcept {
        return left.section != right.section ? left.section < right.section : left.offset < right.offset;
    }
};

struct procedure {
    std::uint32_t token;  // of the PDB file
    code_address address;
    std::uint32_t record;  // offset in the module's stream
};

// The procedure whose record lies there; none when another record or the end of the symbols does.
std::optional<procedure> procedure_at(const msf_stream& module, std::uint32_t symbol_size, std::uint32_t offset);

// All procedures in their order. What comes after a record that leaves its bounds is lost, and what comes before is
// not. Throws what the stream throws.
std::vector<procedure> read_procedures(const msf_stream& module, std::uint32_t symbol_size);

}  // namespace qv::classic_reader
