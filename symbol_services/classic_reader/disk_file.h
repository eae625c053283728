// A file on disk as a source of bytes.
//
// It is read by ordinary calls and never mapped: a share or a removable disk that goes away makes a read fail, where
// the pages of a mapping would end the process. Others may write, replace, rename and delete the file meanwhile; one
// that was written to is read no further, because old and new content would mix.
#pragma once

#include <boost/filesystem/path.hpp>
#include <memory>

#include "symbol_services/classic_reader/byte_source.h"

namespace qv::classic_reader {

// The file is closed with the object. Only regular files are taken. Throws "Can't open PDB file" with e_pdb_not_found,
// e_pdb_access_denied or e_pdb_file_system; reading throws "Can't read PDB file" and "PDB file was written to".
std::unique_ptr<const byte_source> open_disk_file(const boost::filesystem::path& path);

}  // namespace qv::classic_reader
