// The stream of a module: its symbols, and among them its procedures; then its line information.
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
//
// Line information (C13 subsections)
//
//   any subsection
//      4  kind; the top bit says that it is to be ignored
//      4  size of what follows; the next subsection begins at a multiple of 4
//
//   lines of one procedure (0xF2)
//      4  offset of the code
//      2  section of the code
//      2  flags; 1 when columns are recorded
//      4  size of the code
//      -  blocks, one for each run of lines of one file
//           4  file: offset in the file table
//           4  number of lines
//           4  size of the block, these 12 bytes included
//         8*n  IL offset; then line (24 bits), lines to the end of the range (7 bits), statement flag
//         4*n  first and last column, when columns are recorded
//
//   file table (0xF4), one entry after another at multiples of 4
//      4  name: offset in the string table
//      1  size of the checksum
//      1  kind of the checksum: 0 none, 1 MD5, 2 SHA-1, 3 SHA-256
//      -  checksum
#pragma once

#include <cstdint>
#include <functional>
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
// not.
std::vector<procedure> read_procedures(const msf_stream& module, std::uint32_t symbol_size);

// The line of a sequence point that belongs to no source line.
constexpr std::uint32_t hidden_line = 0x00FEEFEE;

// Lines and columns as recorded, those of hidden points included; columns are 0 where none are recorded.
struct sequence_point {
    std::uint32_t il_offset;
    std::uint32_t document;  // index into the documents of the PDB file
    std::uint32_t start_line;
    std::uint32_t start_column;
    std::uint32_t end_line;
    std::uint32_t end_column;

    bool hidden() const noexcept { return start_line == hidden_line; }

    friend bool operator==(const sequence_point&, const sequence_point&) = default;
};

// An entry of the file table.
struct file_entry {
    std::uint32_t name;  // offset in the string table
    std::uint8_t checksum_kind;
    std::vector<unsigned char> checksum;
};

// Where the lines of each procedure of a module lie. Immutable; the container outlives it.
class line_sections {
public:
    // Reads the heads of the subsections. Subsections after one that leaves its bounds are lost, those before are not.
    line_sections(const msf_stream& module, std::uint64_t begin, std::uint64_t size);

    // Appends the points of the code at the address in recorded order; returns false where it has no lines.
    // `document_of` turns the offset of a file table entry into the document of its points. Throws also what
    // `document_of` throws.
    bool read_points(code_address address, const std::function<std::uint32_t(std::uint32_t)>& document_of,
                     std::vector<sequence_point>& points) const;

    // Throw where no entry lies there.
    file_entry file(std::uint32_t offset) const;
    std::uint32_t name_of_file(std::uint32_t offset) const;

    // Offsets of all entries of the file table; an entry that leaves its bounds ends it.
    std::vector<std::uint32_t> files() const;

private:
    struct section {
        code_address address;
        std::uint64_t offset;  // of the blocks, in the stream
        std::uint32_t size;
        bool columns;
    };

    struct file_record;

    void add_lines(std::uint64_t offset, std::uint32_t size);
    file_record record_of_file(std::uint32_t offset) const;

    msf_stream module_;
    std::vector<section> sections_;  // by address
    std::uint64_t files_at_ = 0;
    std::uint32_t files_size_ = 0;
    bool complete_ = true;
};

}  // namespace qv::classic_reader
