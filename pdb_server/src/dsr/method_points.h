// The sequence points of one method as the platform's reader gives them. Windows only.
#pragma once

#include <cstdint>
#include <vector>

#include "common/sdk_helpers.h"
#include "qv/com/symbol_interfaces.h"

namespace qv::profiler::pdb_server {

// Parallel vectors, one entry per point, in the reader's order. A point may have no document, and nothing is known of
// how its positions relate.
struct method_points {
    std::vector<ULONG32> offsets;
    std::vector<com_hld<com::ISymUnmanagedDocument>> documents;
    std::vector<ULONG32> start_lines, start_columns, end_lines, end_columns;
};

// The IL offsets alone. A method that the reader does not know has no points. Throws "Can't get sequence point count"
// also for the points themselves, and for a count that no method can have.
std::vector<ULONG32> read_point_offsets(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token);

// All there is to the points; throws the same.
method_points read_points(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token);

}  // namespace qv::profiler::pdb_server
