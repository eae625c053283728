// What the platform's reader tells of a document. Windows only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/sdk_helpers.h"
#include "qv/com/symbol_interfaces.h"

namespace qv::profiler::pdb_server {

struct document_data {
    std::wstring url;
    com_hld<com::ISymUnmanagedDocument> document;
};

// Throws "Can't get document url".
std::wstring read_document_url(const com_hld<com::ISymUnmanagedDocument>& document);

// Zeros without a checksum. Throws "Can't get document checksum algorithm id".
GUID read_checksum_algorithm(const com_hld<com::ISymUnmanagedDocument>& document);

// Throws "Can't get document checksum size" and "Can't get document checksum".
std::vector<std::uint8_t> read_checksum(const com_hld<com::ISymUnmanagedDocument>& document);

}  // namespace qv::profiler::pdb_server
