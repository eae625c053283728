// Source lines with the sequence points that lie in them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/source_lines.h"

namespace qv::profiler::pdb_client {

// The documents that a method's points lie in, in the order of their first points.
std::vector<std::uint32_t> documents_of(const std::vector<sequence_point>& points);

// The lines of one document with points, and few between them; under each line the points in it with their IL offsets,
// in IL order:
//
//          14          int total = 0;
//     IL_0008          ~~~~~~~~~~~~~~
//     IL_000a  hidden
//
// A range of several lines is marked in its first and its last one. A hidden point stands under the point before it.
std::string annotation_text(const source_lines& source, const std::vector<sequence_point>& points,
                            std::uint32_t document_id, bool colours);

}  // namespace qv::profiler::pdb_client
