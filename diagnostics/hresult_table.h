// The built-in names and messages of error codes, generated from hresults.tsv (see cmake/hresult_table.cmake).
#pragma once

#include <cstdint>

namespace qv::detail {

struct hresult_entry {
    std::uint32_t code;
    const char* name;
    const char* message;  // null: the code has a name only
};

// The entry of the code, or null. The entry is static.
const hresult_entry* find_hresult(std::uint32_t code) noexcept;

}  // namespace qv::detail
