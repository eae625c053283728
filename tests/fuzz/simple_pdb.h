// A second reading of portable PDBs (ECMA-335 II.24, Portable PDB format), to compare the product's reader with. It
// shares no code with that, and it is plain where that is fast.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "base/guid.h"

namespace qv::fuzz {

using region = std::span<const unsigned char>;

// All operations fail with std::runtime_error, whose message is what a client is told.
class simple_pdb {
public:
    // The file outlives the reading.
    explicit simple_pdb(region file);

    const GUID& guid() const { return guid_; }
    std::uint32_t stamp() const { return stamp_; }
    std::uint32_t rows(unsigned table) const { return counts_[table]; }

    // IL offsets, documents, start lines and columns, end lines and columns.
    using columns = std::array<std::vector<std::uint32_t>, 6>;
    void get_points(std::uint32_t row, columns& points) const;

    struct document {
        std::wstring url;
        GUID algorithm;  // left as it is when there is no document at all
        std::vector<unsigned char> checksum;
        bool operator==(const document&) const = default;
    };
    void get_document(std::uint32_t row, document& answer) const;

    void get_source_link(std::vector<unsigned char>& answer) const;

private:
    using row_counts = std::array<std::uint32_t, 64>;

    void find_widths(unsigned heap_sizes, const row_counts& reached);
    void place_tables(region stream, std::uint64_t position);
    std::uint32_t field(unsigned table, std::uint32_t row, std::size_t column) const;
    GUID guid(std::uint32_t index) const;
    region blob(std::uint32_t index) const;
    std::wstring get_name(region name) const;

    row_counts counts_{};
    std::map<char, unsigned> widths_;  // in bytes, by the letters of columns
    std::map<unsigned, region> tables_;
    region guids_, blobs_;
    GUID guid_{};
    std::uint32_t stamp_ = 0;
};

}  // namespace qv::fuzz
