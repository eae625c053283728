// Checksums of source files, computed by the platform.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/guid.h"

namespace qv::profiler::pdb_client {

enum class checksum_kind { md5, sha1, sha256 };

// What the GUID of a document's checksum stands for.
struct checksum_algorithm {
    GUID id;
    const char* name;
    checksum_kind kind;
};

// Null for algorithms that compilers do not use.
const checksum_algorithm* find_checksum_algorithm(const GUID& id);

// Throws qv::exception where the platform does not compute this kind, as where it allows no weak ones.
std::vector<std::uint8_t> checksum_of(std::string_view bytes, checksum_kind kind);

}  // namespace qv::profiler::pdb_client
