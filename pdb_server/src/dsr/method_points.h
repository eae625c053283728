// What the platform's reader tells of a method's sequence points and of the documents that they name. Windows only.
//
// Nothing that the reader says is trusted: a size or count beyond all reason fails as if the reader had failed, and
// every object that it gives is owned before the outcome of the call is looked at. Failures are hresult_exceptions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/com/symbol_interfaces.h"
#include "common/sdk_helpers.h"
#include "pdb_server/src/module_data.h"

namespace qv::profiler::pdb_server {

// Parallel vectors, one entry per point, in the reader's order. A point may have no document, and nothing is known of
// how its positions relate.
struct method_points {
    point_values offsets;
    std::vector<com_hld<com::ISymUnmanagedDocument>> documents;
    point_values start_lines, start_columns, end_lines, end_columns;
};

// The IL offsets alone. A method that the reader does not know has no points.
point_values read_point_offsets(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token);

// All there is to the points.
method_points read_points(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token);

std::wstring read_document_url(const com_hld<com::ISymUnmanagedDocument>& document);

// Zeros without a checksum.
GUID read_checksum_algorithm(const com_hld<com::ISymUnmanagedDocument>& document);

std::vector<std::uint8_t> read_checksum(const com_hld<com::ISymUnmanagedDocument>& document);

}  // namespace qv::profiler::pdb_server
