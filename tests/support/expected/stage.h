// Puts a module where a server finds its PDB: copies in a folder of their own, under the names the image records.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/expected/expected.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {

// Copies the image into `folder` of the directory and beside it, if it has a PDB file, that file under each file name
// that a CodeView record of the image gives. Returns the absolute path of the image's copy. Throws std::runtime_error
// where a PDB file or a record is missing that the expected answers rest on.
boost::filesystem::path stage(const expected_module& module, const temporary_directory& directory,
                              const boost::filesystem::path& folder);

// The file names of the PDB paths in all CodeView records ("RSDS") found anywhere in the bytes of an image, without
// repetition. Both kinds of slash separate.
std::vector<std::string> recorded_pdb_names(std::string_view image);

}  // namespace qv::testing
