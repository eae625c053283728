// The symbol data of one loaded module, as the registry sees it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/default_init_allocator.h"
#include "base/guid.h"

namespace qv::profiler::pdb_server {

// One number for each sequence point of a method. Those that the vector grows by are not set.
using point_values = std::vector<std::uint32_t, default_init_allocator<std::uint32_t>>;

// Implemented by each symbol backend. Immutable after loading as far as callers can see: any number of threads may
// query one object at once. A failed query throws and leaves the object as it was; outputs may be partly filled.
struct module_data {
    explicit module_data(const GUID& id) noexcept : mvid(id) {}
    module_data(const module_data&) = delete;
    module_data& operator=(const module_data&) = delete;

    // Module version id of the image that these symbols belong to.
    const GUID mvid;

    virtual ~module_data() = default;

    // The module's source-server stream or Source Link document; empty when it has none.
    virtual void get_source_server_data(std::vector<std::uint8_t>& data) = 0;

    // IL offset of every sequence point of the method, hidden ones included.
    virtual void get_method_offsets(std::uint32_t method_token, point_values& offsets) = 0;

    // Five parallel vectors, one entry per sequence point in the order of get_method_offsets. A hidden point has the
    // lines 0xFEEFEE.
    virtual void get_method_ranges(std::uint32_t method_token, point_values& document_ids, point_values& start_lines,
                                   point_values& start_columns, point_values& end_lines, point_values& end_columns) = 0;

    // A document by the id that get_method_ranges gave.
    virtual void get_document(std::uint32_t document_id, std::wstring& url, GUID& checksum_algorithm,
                              std::vector<std::uint8_t>& checksum) = 0;
};

}  // namespace qv::profiler::pdb_server
