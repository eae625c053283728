// Symbols of a module whose PDB is portable, answered straight from the tables.
#pragma once

#include <memory>

#include "pdb_server/src/module_data.h"
#include "pdb_server/src/ppdb/metadata_container.h"

namespace qv::profiler::pdb_server {

// See module_data. A document id is a row of the Document table; source-server data is the Source Link document. All
// operations clear their outputs first. Errors are those of the metadata reader, of read_document_name, and "Invalid
// parent index type", "Invalid parent index rid".
class ppdb_module_data final : public module_data {
public:
    ppdb_module_data(const GUID& id, std::unique_ptr<const metadata_container> container) noexcept
        : module_data(id), container_(std::move(container)) {}

    void get_source_server_data(std::vector<std::uint8_t>& data) override;
    void get_method_offsets(std::uint32_t method_token, std::vector<std::uint32_t>& offsets) override;
    void get_method_ranges(std::uint32_t method_token, std::vector<std::uint32_t>& document_ids,
                           std::vector<std::uint32_t>& start_lines, std::vector<std::uint32_t>& start_columns,
                           std::vector<std::uint32_t>& end_lines, std::vector<std::uint32_t>& end_columns) override;
    void get_document(std::uint32_t document_id, std::wstring& url, GUID& checksum_algorithm,
                      std::vector<std::uint8_t>& checksum) override;

private:
    const std::unique_ptr<const metadata_container> container_;
};

}  // namespace qv::profiler::pdb_server
