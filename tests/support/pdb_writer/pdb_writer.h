// Writes classic PDB files of managed code from a description.
//
// The headers of symbol_services/classic_reader say what lies where. Files that break a rule are made by changing the
// streams before write_msf, or the bytes after it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/pdb_writer/msf_writer.h"

namespace qv::test {

// A source file. Managed compilers keep the checksum in a record; native tools keep it in the file table of the module.
struct pdb_file {
    std::string name;
    GUID algorithm = {};
    bytes checksum = {};
    bytes source = {};
    bool record = true;
    unsigned table_checksum_kind = 0;
    bytes table_checksum = {};
};

struct point {
    std::uint32_t il_offset, start_line, start_column, end_line, end_column;
};

// A point that belongs to no source line.
constexpr point hidden_point(std::uint32_t il_offset) {
    return {il_offset, hidden, 0, hidden, 0};
}

struct pdb_lines {
    unsigned file;  // index in the description
    std::vector<point> points;
};

struct pdb_method {
    std::uint32_t token;  // before the token map
    std::vector<pdb_lines> lines;
    bool local = false;  // S_LMANPROC
};

struct pdb_module {
    std::string name;
    std::vector<pdb_method> methods;
    bool columns = true;
};

constexpr std::uint32_t pdb_signature = 0x4A5B6C7D;

struct pdb_description {
    GUID guid = {};
    std::uint32_t age = 1;
    std::uint32_t info_age = 1;
    std::vector<pdb_file> files;
    std::vector<pdb_module> modules;
    std::vector<std::uint32_t> token_map = {};  // empty: no stream
    bool references = true;                     // the hash table of the global symbols
    bool source_list = true;
    std::vector<std::pair<std::string, bytes>> named = {};  // further named streams
};

// Streams with a fixed number; the others are told apart by the members of pdb_streams.
constexpr unsigned info_stream_number = 1;
constexpr unsigned dbi_stream_number = 3;
constexpr unsigned names_stream_number = 5;

struct pdb_streams {
    msf_streams streams;
    std::vector<unsigned> modules;  // stream of each module
    std::vector<std::uint32_t> symbol_sizes;
    std::vector<unsigned> files;  // stream of each file's record; 0 without one
    unsigned global_symbols = 0, symbol_records = 0;
    unsigned token_map = 0;  // 0 without one

    bytes& operator[](unsigned number) { return *streams[number]; }
};

// The table of stream names. An open name ends where the next one's end is.
class named_streams_writer {
public:
    void add(std::string_view name, unsigned stream, bool open = false);
    bytes table() const;

private:
    byte_writer names_, entries_;
    std::uint32_t count_ = 0;
};

bytes write_info(const pdb_description& description, const named_streams_writer& named);

pdb_streams write_streams(const pdb_description& description);

bytes write_pdb(const pdb_description& description);

// A file with two files, two modules and three methods, among them one with hidden points and one with two documents.
pdb_description sample_pdb_description();

}  // namespace qv::test
