// The symbols of a module whose PDB is portable, answered straight from its tables.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/guid.h"
#include "pdb_server/src/module_data.h"
#include "qv/metadata/metadata.h"

namespace qv::profiler::pdb_server {

// The parts of one name may all refer to the same large blob, so that a small file spells a name of any length. Names
// are paths or URLs; none that any system can open comes near this many bytes of UTF-8.
constexpr std::uint64_t max_document_name = 1u << 20;

// The bytes of a portable PDB and the parser over them. Immutable after construction; any number of threads may read
// through it.
class metadata_container {
public:
    // Throw what the metadata reader throws, and for metadata without a "#Pdb" stream.
    metadata_container(std::shared_ptr<const unsigned char> bytes, std::uint64_t size);
    explicit metadata_container(std::vector<unsigned char>&& bytes);
    metadata_container(const metadata_container&) = delete;
    metadata_container& operator=(const metadata_container&) = delete;

    const metadata::detail_metadata::metadata_parser& parser() const noexcept { return parser_; }

    // Whether the PDB was written for the image whose debug directory names this GUID and time stamp.
    bool has_id(const GUID& guid, std::uint32_t stamp) const noexcept;

private:
    explicit metadata_container(const std::shared_ptr<const std::vector<unsigned char>>& bytes)
        : metadata_container({bytes, bytes->data()}, bytes->size()) {}

    const std::shared_ptr<const unsigned char> bytes_;
    const metadata::detail_metadata::metadata_parser parser_;
};

// See module_data. A document id is a row of the Document table; source-server data is the Source Link document. All
// operations clear their outputs first. Fails as the metadata reader does, with std::range_error for a document name
// that is no UTF-8, and for a name of more than max_document_name bytes.
class ppdb_module_data final : public module_data {
public:
    ppdb_module_data(const GUID& id, std::unique_ptr<const metadata_container> container) noexcept
        : module_data(id), container_(std::move(container)) {}

    void get_source_server_data(std::vector<std::uint8_t>& data) override;
    void get_method_offsets(std::uint32_t method_token, point_values& offsets) override;
    void get_method_ranges(std::uint32_t method_token, point_values& document_ids, point_values& start_lines,
                           point_values& start_columns, point_values& end_lines, point_values& end_columns) override;
    void get_document(std::uint32_t document_id, std::wstring& url, GUID& checksum_algorithm,
                      std::vector<std::uint8_t>& checksum) override;

private:
    const std::unique_ptr<const metadata_container> container_;
};

}  // namespace qv::profiler::pdb_server
