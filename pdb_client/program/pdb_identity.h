// What identifies a PDB: an image names it in its debug directory, the file carries it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "base/guid.h"

namespace qv::profiler::pdb_client {

// The kind of symbols that the image's debug directory points to.
enum class symbol_kind { none, embedded, portable, classic };

struct pdb_identity {
    GUID guid;
    std::uint32_t number;  // the stamp of a portable PDB, the age of a classic one

    friend bool operator==(const pdb_identity&, const pdb_identity&) = default;
};

// "13f42c9c-9d6f-466e-b84f-5a724a488af0 stamp e227c2a9", or "... age 2" for a classic PDB.
std::string identity_text(const pdb_identity& identity, symbol_kind kind);

// Reads a file that should be a portable or a classic PDB. Throws when it cannot be opened or is something else.
pdb_identity read_pdb_identity(const boost::filesystem::path& file, symbol_kind kind);

}  // namespace qv::profiler::pdb_client
