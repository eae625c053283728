// What identifies a managed module to a profiler, read from the image's metadata.
#pragma once

#include <cstdint>
#include <vector>

#include "base/guid.h"
#include "qv/metadata/md_region.h"

namespace qv::metadata {

struct module_identity {
    GUID mvid;                  // Module table, row 1
    std::uint32_t method_rows;  // rows of the MethodDef table
};

// Reads it from the metadata block of an image. Throws what the metadata reader throws, also for an empty Module table.
module_identity read_module_identity(const detail_metadata::md_region& metadata);
module_identity read_module_identity(const std::vector<unsigned char>& metadata);

}  // namespace qv::metadata
