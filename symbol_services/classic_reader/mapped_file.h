// A file mapped into memory for reading.
//
// Others may read, replace and delete the file meanwhile. The mapping and the file are given back with the object.
#pragma once

#include <boost/filesystem/path.hpp>
#include <span>

namespace qv::classic_reader {

class mapped_file {
public:
    // Throws "Can't open PDB file" or "Can't map PDB file" with e_pdb_not_found, e_pdb_access_denied or
    // e_pdb_file_system. Only regular files are taken.
    explicit mapped_file(const boost::filesystem::path& path);
    mapped_file(const mapped_file&) = delete;
    mapped_file& operator=(const mapped_file&) = delete;
    ~mapped_file();

    // Valid as long as the object.
    std::span<const unsigned char> bytes() const noexcept { return bytes_; }

private:
    std::span<const unsigned char> bytes_;  // an empty file has no mapping
};

}  // namespace qv::classic_reader
