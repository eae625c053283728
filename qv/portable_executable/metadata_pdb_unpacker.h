// Unpacks a portable PDB that is embedded in an image (Portable PDB specification, PE/COFF "Embedded Portable PDB Debug
// Directory Entry"):
//
//   0  4  signature "MPDB"
//   4  4  size of the portable PDB in bytes, little-endian
//   8     the portable PDB as a raw deflate stream
#pragma once

#include <cstdint>
#include <vector>

namespace qv::portable_executable {

// `data` is the data of a debug directory entry of type 17. Memory follows what the stream really expands to, whatever
// is declared, and unpacking ends as soon as that exceeds what was declared, or 16 MiB and 64 times the packed bytes.
// Bytes after the end of the deflate stream are ignored. Throws qv::exception for a bad header or size; a corrupt or
// incomplete stream raises the library's boost::iostreams::zlib_error.
std::vector<unsigned char> unpack_metadata_pdb(const unsigned char* data, std::uint64_t size);

}  // namespace qv::portable_executable
