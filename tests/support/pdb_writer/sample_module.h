// A managed image with a classic PDB beside it, on disk.
#pragma once

#include <boost/filesystem/path.hpp>

#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::testing {

// "module.dll", whose debug directory names the "module.pdb" beside it. The folder goes with the object.
class sample_module {
public:
    static constexpr GUID mvid{0x51A7E5E1, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    static constexpr std::uint32_t method_rows = 4;

    explicit sample_module(const test::pdb_description& description = test::sample_pdb_description());

    // Writes another "module.pdb".
    static boost::filesystem::path write_pdb(const temporary_directory& directory,
                                             const test::pdb_description& description);

    temporary_directory directory;
    boost::filesystem::path pdb;
    boost::filesystem::path image;
};

}  // namespace qv::testing
