// Files that are small for what they make a careless reader do. Each shape has a size parameter: a reader that keeps
// its cost in proportion to the file does twice the work for twice the parameter, and no more.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/builders/bytes.h"

namespace qv::test {

struct costly_files {
    bytes image;
    bytes pdb;  // empty: the image has none beside it
};

struct costly_shape {
    std::string name;
    std::size_t default_size;  // of the parameter; what one of it is stands with the maker
    costly_files (*make)(std::size_t size);
};

// The MVID of every image here, and what its debug directory calls its PDB.
constexpr GUID costly_mvid = {0xC0571111, 0x0057, 0x4711, {0x80, 1, 2, 3, 4, 5, 6, 7}};
constexpr const char* costly_pdb_name = "costly.pdb";

std::vector<costly_shape> portable_costly_shapes();
std::vector<costly_shape> classic_costly_shapes();

}  // namespace qv::test
