// Reads a metadata block (ECMA-335 II.24.2, Portable PDB format) that lies in memory: of an image, or of a portable
// PDB.
//
// The constructor locates the streams, works out the index widths and cuts one bounded region for each table; after it
// the parser is immutable, so that any number of threads may read through one. Nothing is copied: the block must
// outlive the parser, unmoved and unchanged. Faults throw qv::exception; malformed UTF-8 in names throws
// std::runtime_error (see md_region).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "qv/metadata/declarations.h"
#include "qv/metadata/md_region.h"

namespace qv::metadata::detail_metadata {

// The header of the "#Pdb" stream.
struct pdb_header {
    std::array<unsigned char, 20> id;
    table_row_counts referenced_rows;  // of the type-system tables of the image
};

class metadata_parser {
public:
    metadata_parser(std::uint64_t size, const unsigned char* data);
    explicit metadata_parser(const md_region& block);

    // NUL-terminated, inside the block.
    const char* version() const noexcept { return version_; }

    // Absent when the block has no "#Pdb" stream.
    const std::optional<pdb_header>& pdb() const noexcept { return pdb_; }

    const md_modes& modes() const noexcept { return modes_; }

    // Rows that the table stream declares; by table number. Only supported tables have a row size and a region.
    std::uint32_t row_count(unsigned table) const noexcept { return row_counts_[table]; }
    std::uint32_t row_size(unsigned table) const noexcept { return row_sizes_[table]; }
    const md_region& table(unsigned table) const noexcept { return tables_[table]; }

    // The heap of names, for readers that bound how much of a name they look at.
    const md_region& strings() const noexcept { return heaps_[strings_heap - 1]; }

    // The heap of blobs, for readers that look at bytes behind a blob's end.
    const md_region& blobs() const noexcept { return heaps_[blob_heap - 1]; }

    // The GUID of an index; index 0 fails, or is the zero GUID where null is allowed.
    GUID get_stream_data(md_stream<guid_heap> index, bool null_allowed) const;

    // The name of an index, inside the block.
    std::string_view get_stream_data(md_stream<strings_heap> index) const;

    // The blob of an index.
    md_region get_stream_data(md_stream<blob_heap> index) const;

private:
    struct streams;  // the regions found, while parsing

    streams find_streams(const md_region& block);
    std::uint32_t read_table_header(const md_region& stream, unsigned char& heap_sizes);
    void read_pdb_header(const md_region& stream);
    void place_tables(const md_region& stream, std::uint32_t position);

    const char* version_ = nullptr;
    std::optional<pdb_header> pdb_;
    std::array<md_region, heap_kinds> heaps_{};  // by heap kind - 1
    md_modes modes_{};
    table_row_counts row_counts_{};
    std::array<std::uint32_t, max_tables> row_sizes_{};
    std::array<md_region, max_tables> tables_{};
};

// Reads single fields of table rows. Cheap to make and to copy; must not outlive the parser.
class accessor {
public:
    explicit accessor(const metadata_parser& parser) noexcept : parser_(parser) {}

    template <class T>
    std::uint32_t get_row_count() const noexcept {
        return parser_.row_count(T::number);
    }

    // The raw value of column F in the 1-based row of table T; fails for a row that the table does not have.
    template <class T, class F>
    auto get_field_value(std::uint32_t row) const {
        return T::template column<F>::get_value(
            parser_.modes(), parser_.table(T::number),
            get_position(T::number, row, T::template get_offset<F>(parser_.modes())));
    }

private:
    std::uint32_t get_position(unsigned table, std::uint32_t row, std::uint32_t column_offset) const;

    const metadata_parser& parser_;
};

}  // namespace qv::metadata::detail_metadata
