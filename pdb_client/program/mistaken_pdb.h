// What is said of a PDB that was given where an image is wanted.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace qv::profiler::pdb_client {

// What kind of PDB the file is, and the image to name instead, each line ended; empty where the file is no PDB. Looked
// at are the images beside it that have its name.
std::string mistaken_pdb_text(const boost::filesystem::path& file);

}  // namespace qv::profiler::pdb_client
