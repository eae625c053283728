// Builds small managed PE images.
//
// The file has the DOS header, the NT headers at 0x80 and behind the headers, at the next multiple of 0x400, one
// section that holds, in this order, the CLI header, the debug directory, the metadata and the data of the debug
// entries. Images that break a rule are made by poking the finished bytes: `image` says where everything is.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tests/support/builders/bytes.h"

namespace qv::test {

enum class pe_kind { pe32, pe32_plus };

// File offsets of the parts of a built image.
struct pe_image {
    bytes data;
    std::size_t nt_headers;       // the NT signature; the file header follows
    std::size_t optional_header;  // begins with the magic
    std::size_t directory_count;  // NumberOfRvaAndSizes; the data directories follow, 8 bytes each
    std::size_t section_table;    // 40 bytes for each section
    std::size_t cor_header;
    std::size_t debug_directory;  // 28 bytes for each entry
    std::size_t metadata;
    std::vector<std::size_t> debug_data;  // of each entry

    std::size_t directory(unsigned index) const { return directory_count + 4 + std::size_t{8} * index; }
};

// A section's RVAs are its file offsets plus this.
constexpr std::uint32_t pe_rva_bias = 0x1000;

// The data of a CodeView entry: signature, GUID, age, path and its terminator.
bytes codeview_data(const GUID& guid, std::uint32_t age, std::string_view path);

// The data of an embedded portable PDB entry: signature, declared size, raw deflate stream.
bytes pack_portable_pdb(const bytes& portable_pdb);

// A raw deflate stream of the bytes.
bytes deflate(const bytes& data);

class pe_builder {
public:
    explicit pe_builder(pe_kind kind = pe_kind::pe32_plus) : kind_(kind) {}

    // The metadata block; without one the CLI header names an empty block.
    pe_builder& metadata(bytes block);

    // Data directories beyond the 16 standard ones.
    void further_directories(unsigned count) { further_directories_ = count; }

    // Sections without content, after the one that has it all.
    void further_sections(unsigned count) { further_sections_ = count; }

    // Debug directory entries in this order; without any the directory is absent.
    pe_builder& debug_entry(std::uint32_t type, std::uint16_t minor_version, std::uint32_t stamp, bytes data);
    // A CodeView entry that names a portable PDB.
    pe_builder& codeview(const GUID& guid, std::uint32_t stamp, std::string_view path) {
        return debug_entry(2, 0x504D, stamp, codeview_data(guid, 1, path));
    }
    // An embedded portable PDB, packed here.
    pe_builder& embedded(const bytes& portable_pdb) {
        return debug_entry(17, 0x0100, 0, pack_portable_pdb(portable_pdb));
    }

    pe_image build() const;

private:
    struct entry {
        std::uint32_t type;
        std::uint16_t minor_version;
        std::uint32_t stamp;
        bytes data;
    };

    pe_kind kind_;
    bytes metadata_;
    unsigned further_directories_ = 0;
    unsigned further_sections_ = 0;
    std::vector<entry> entries_;
};

}  // namespace qv::test
