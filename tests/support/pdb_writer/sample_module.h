// A managed image with a classic PDB beside it, on disk.
#pragma once

#include "tests/support/builders/pe_builder.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::testing {

// "module.dll", whose debug directory names the "module.pdb" beside it. The folder goes with the object.
class sample_module {
public:
    static constexpr GUID mvid{0x51A7E5E1, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    static constexpr std::uint32_t method_rows = 4;

    explicit sample_module(const test::pdb_description& description = test::sample_pdb_description())
        : pdb(write_pdb(directory, description)) {
        const auto record = test::codeview_data(description.guid, description.age, "C:\\obj\\module.pdb");
        test::pe_builder built;
        built.metadata(test::image_metadata(mvid, method_rows).build()).debug_entry(2, 0, 1, record);
        image = write(directory, "module.dll", built.build().data);
    }

    // Writes another "module.pdb".
    static boost::filesystem::path write_pdb(const temporary_directory& directory,
                                             const test::pdb_description& description) {
        return write(directory, "module.pdb", test::write_pdb(description));
    }

    temporary_directory directory;
    boost::filesystem::path pdb, image;

private:
    static boost::filesystem::path write(const temporary_directory& directory, const char* name,
                                         const test::bytes& content) {
        return directory.write(name, {content.begin(), content.end()});
    }
};

}  // namespace qv::testing
