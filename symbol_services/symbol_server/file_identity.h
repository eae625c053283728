// Which build of which file this is, by its content.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace qv::symbol_store {

struct file_identity {
    std::wstring index;   // under which stores keep the file (file_key.h); empty where it is none that they keep
    std::wstring reason;  // why it is none
};

// Knows portable PDBs, classic PDBs (the age is the one that images record) and PE images. A file that is shorter than
// it says itself is none. Reads a few pages, whatever the size.
file_identity identify(const boost::filesystem::path& path);

}  // namespace qv::symbol_store
