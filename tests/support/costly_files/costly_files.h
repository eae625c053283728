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
    std::string name;          // also the name of the files, without their extensions
    std::size_t default_size;  // of the parameter; what one of it is stands with the maker
    costly_files (*make)(const std::string& name, std::size_t size);

    costly_files make_files(std::size_t size) const { return make(name, size); }
};

// The MVID of a shape's image. Shapes differ in it: a server knows loaded modules by it.
GUID costly_mvid(const std::string& name);

// What an image's debug directory calls the PDB of a shape.
std::string costly_pdb_name(const std::string& name);

std::vector<costly_shape> portable_costly_shapes();
std::vector<costly_shape> classic_costly_shapes();

}  // namespace qv::test
