// The symbols of one module with a classic PDB. Windows only.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "common/com/symbol_interfaces.h"
#include "common/sdk_helpers.h"
#include "pdb_server/src/module_data.h"
#include "pdb_server/src/slave_key_atom_map.h"

namespace qv::profiler::pdb_server {

// Document ids are handed out in the order in which the methods asked for name the documents, one per URL; a point
// without a document has the id 0. The thread of every call, the destructor's included, has initialised COM.
class dsr_module_data : public module_data {
public:
    // `task_mem_free` is CoTaskMemFree. Throws for an empty reader.
    dsr_module_data(const GUID& id, com_hld<com::ISymUnmanagedReader> reader,
                    std::function<void(void* block)> task_mem_free);

    // Makes the reader close the symbol file; a failure is logged.
    ~dsr_module_data() override;

    void get_source_server_data(std::vector<std::uint8_t>& data) override;
    void get_method_offsets(std::uint32_t method_token, point_values& offsets) override;
    void get_method_ranges(std::uint32_t method_token, point_values& document_ids, point_values& start_lines,
                           point_values& start_columns, point_values& end_lines, point_values& end_columns) override;
    void get_document(std::uint32_t document_id, std::wstring& url, GUID& checksum_algorithm,
                      std::vector<std::uint8_t>& checksum) override;

private:
    struct document_data {
        std::wstring url;
        com_hld<com::ISymUnmanagedDocument> document;
    };

    struct document_traits {
        using key_hash = std::hash<std::wstring>;
        static const std::wstring& key(const std::shared_ptr<document_data>& value) { return value->url; }
    };

    std::uint32_t enter_document(const com_hld<com::ISymUnmanagedDocument>& document);
    void destroy_reader() const;

    com_hld<com::ISymUnmanagedReader> reader_;
    std::function<void(void* block)> task_mem_free_;
    slave_key_atom_map<std::uint32_t, std::wstring, std::shared_ptr<document_data>, document_traits> documents_;
};

}  // namespace qv::profiler::pdb_server
