// Decodes the name of a document (Portable PDB format, "Document Name Blob").
#pragma once

#include <cstdint>
#include <string>

#include "qv/metadata/metadata.h"

namespace qv::profiler::pdb_server {

// The parts of one name may all refer to the same large blob, so that a small file spells a name of any length. Names
// are paths or URLs; none that any system can open comes near this many bytes of UTF-8.
constexpr std::uint64_t max_document_name = 1u << 20;

// Appends the name to `name`. Throws "End of region", "Out of arent region", "Too long document name", the errors of
// md_region::read_char_utf8, and std::range_error "bad conversion" for what is no UTF-8.
void read_document_name(const metadata::detail_metadata::metadata_parser& parser,
                        metadata::detail_metadata::md_stream<metadata::detail_metadata::blob_heap> index,
                        std::wstring& name);

}  // namespace qv::profiler::pdb_server
