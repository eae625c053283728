// The bytes of a portable PDB and the parser over them.
#pragma once

#include <cstdint>
#include <vector>

#include "quorvex/common/guid.h"
#include "qv/metadata/metadata.h"

namespace qv::profiler::pdb_server {

// Immutable after construction; any number of threads may read through it.
class metadata_container {
public:
    // Throws what the metadata reader throws, and "Metadata doesn't containt PDB information" when there is no "#Pdb"
    // stream.
    explicit metadata_container(std::vector<unsigned char>&& bytes);
    metadata_container(const metadata_container&) = delete;
    metadata_container& operator=(const metadata_container&) = delete;

    const metadata::detail_metadata::metadata_parser& parser() const noexcept { return parser_; }

    // Whether the PDB was written for the image whose debug directory names this GUID and time stamp.
    bool has_id(const GUID& guid, std::uint32_t stamp) const noexcept;

private:
    const std::vector<unsigned char> bytes_;
    const metadata::detail_metadata::metadata_parser parser_;
};

}  // namespace qv::profiler::pdb_server
