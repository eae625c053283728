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

// `data` is the data of a debug directory entry of type 17. The declared size reserves memory only as far as the packed
// bytes can expand, and unpacking ends as soon as it is exceeded. Bytes after the end of the deflate stream are
// ignored. Throws qv::exception "Invalid packed portable PDB size", "Invalid packed portable PDB signature" or
// "Uncompressed buffer isn't the same as declared"; a corrupt or incomplete stream raises the library's
// boost::iostreams::zlib_error.
std::vector<unsigned char> unpack_metadata_pdb(const unsigned char* data, std::uint64_t size);

}  // namespace qv::portable_executable
