// The debug information stream: the modules, their source files, and the streams with further tables.
//
//   header, 64 bytes; then the parts, in the order of their sizes in the header
//      4  -1
//      4  version; 19990903 since MSF 7.0
//      4  age: the one that an image records
//      2  stream of the global symbols, see global_references.h
//      6  build number, stream of the public symbols, version of the writer
//      2  stream of the symbol records
//      2  build of the writer
//      4  size of the module list
//      4  size of the section contributions
//      4  size of the section map
//      4  size of the source file list
//      4  size of the type server map
//      4  index of the type server
//      4  size of the debug header
//      4  size of the edit-and-continue part (it lies before the debug header)
//      8  flags, machine, reserved
//
//   module list; of each module
//      4  reserved
//     28  its first section contribution
//      2  flags
//      2  its stream, see module_stream.h and module_stream.h; 0xFFFF when it has none
//      4  size of the symbols in that stream
//      4  size of the line information of old compilers (C11)
//      4  size of the line information (C13)
//      2  number of source files
//     14  reserved
//      -  name of the module, name of the object file, both ended by NUL; filling to a multiple of 4
//
//   source file list
//      2  number of modules
//      2  number of source files, which may have overflowed: the counts tell
//    2*n  index of each module's first file, of no use for the same reason
//    2*n  number of files of each module
//    4*m  offsets of the names
//      -  names, each ended by NUL
//
//   debug header: 2 bytes for each stream; 0xFFFF for one that is not there
//         the seventh one is the token map, see procedure_index.h
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "symbol_services/classic_reader/msf.h"

namespace qv::classic_reader {

// A stream belongs to the first module that names it; a further one has none.
struct module_info {
    std::optional<std::uint16_t> stream;
    std::uint32_t symbol_size;
    std::uint32_t c11_size;
    std::uint32_t c13_size;
};

struct dbi_info {
    std::uint32_t age;
    std::optional<std::uint16_t> global_symbols;
    std::optional<std::uint16_t> symbol_records;
    std::optional<std::uint16_t> token_map;
    std::vector<module_info> modules;
    std::uint64_t source_list_offset;  // in the stream
    std::uint32_t source_list_size;
};

// Throws also e_pdb_not_implemented, for older versions.
dbi_info read_dbi(const msf_stream& stream);

// A source file and the first module that lists it.
struct source_file {
    std::string_view name;  // within the bytes of the list
    std::uint32_t module;
};

// The files of all modules in their order, those at one place of the list once.
std::vector<source_file> read_source_list(std::span<const unsigned char> list);

}  // namespace qv::classic_reader
