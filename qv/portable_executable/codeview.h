// What an image says about its PDB file, in the data of a debug directory entry of type 2 (PE/COFF specification).
//
//      4  "RSDS"
//     16  GUID
//      4  age
//      -  path in UTF-8, ended by NUL
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

#include "base/guid.h"

namespace qv::portable_executable {

struct codeview_record {
    GUID guid;
    std::uint32_t age;
    std::string path;  // as the compiler wrote it; perhaps no UTF-8
};

// None for data of another kind. A path without its NUL ends with the data.
inline std::optional<codeview_record> read_codeview(std::span<const unsigned char> data) {
    constexpr std::size_t path_at = 24;
    if (data.size() < path_at || std::memcmp(data.data(), "RSDS", 4) != 0) return std::nullopt;
    codeview_record record;
    std::memcpy(&record.guid, data.data() + 4, sizeof record.guid);
    std::memcpy(&record.age, data.data() + 20, sizeof record.age);
    const auto path = data.subspan(path_at);
    record.path.assign(path.begin(), std::find(path.begin(), path.end(), 0));
    return record;
}

}  // namespace qv::portable_executable
