#include "qv/metadata/metadata.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace qv::metadata::detail_metadata {

// The records of ECMA-335 II.24.2.1, II.24.2.2 and II.24.2.6 and of the "#Pdb" stream, as they lie in the block.
struct STORAGESIGNATURE {
    std::uint32_t signature;
    std::uint16_t major_version;
    std::uint16_t minor_version;
    std::uint32_t extra_data;
    std::uint32_t version_length;
};
static_assert(sizeof(STORAGESIGNATURE) == 16);

struct STORAGEHEADER {
    std::uint8_t flags;
    std::uint8_t padding;
    std::uint16_t streams;
};
static_assert(sizeof(STORAGEHEADER) == 4);

struct STORAGESTREAM {
    std::uint32_t offset;  // from the beginning of the block
    std::uint32_t size;
};
static_assert(sizeof(STORAGESTREAM) == 8);

struct CMiniMdSchemaBase {
    std::uint32_t reserved;
    std::uint8_t major_version;
    std::uint8_t minor_version;
    std::uint8_t heap_sizes;
    std::uint8_t reserved2;
    std::uint64_t valid;
    std::uint64_t sorted;
};
static_assert(sizeof(CMiniMdSchemaBase) == 24);

struct CMiniPdbSchemaBase {
    std::array<unsigned char, 20> id;
    std::uint32_t entry_point;
    std::uint32_t referenced_tables[2];  // a 64-bit mask that is not aligned to 8
};
static_assert(sizeof(CMiniPdbSchemaBase) == 28 + 4);

namespace {

constexpr throw_site constructor{
    "__cdecl qv::metadata::detail_metadata::metadata_parser::metadata_parser(const unsigned __int64,const unsigned "
    "char *)",
    metadata_source};

constexpr std::uint32_t metadata_signature = 0x424A5342;
constexpr std::uint8_t extra_data_flag = 0x40;

constexpr std::uint64_t round_up_to_4(std::uint64_t value) noexcept {
    return (value + 3) & ~std::uint64_t{3};
}

// A computed position as a position of the region; one that no region reaches fails as a read there would.
std::uint32_t to_position(std::uint64_t value, const throw_location& where) {
    if (value > 0xFFFFFFFF) throw_error(end_of_region_message, where);
    return static_cast<std::uint32_t>(value);
}

// The whole block. Offsets in metadata have 32 bits, so nothing can refer to what lies beyond.
md_region make_block(std::uint64_t size, const unsigned char* data) {
    if (size > 0xFFFFFFFF) throw_error(out_of_region_message, constructor);
    return {data, static_cast<std::uint32_t>(size)};
}

// Reads the names of the stream headers. A name ends at its first zero byte, but it is walked in characters up to one
// that is zero, and a zero byte inside a character leads the walk far beyond the name, through all headers that follow.
// Where one walk has been, another need not go: it would come to the same end.
class stream_names {
public:
    explicit stream_names(const md_region& block) noexcept : block_(block) {}

    // Throws what md_region::read_string_utf8 throws.
    std::string_view read(std::uint32_t position) {
        const auto* const name = reinterpret_cast<const char*>(block_.data()) + position;
        bool beyond = false;
        while (!beyond || enter(position)) {
            const unsigned char* next = nullptr;
            const unsigned char* const character = block_.read_char_utf8(position, &next);
            if (*character == 0) break;
            beyond = beyond || std::find(character, next, 0) != next;
        }
        return name;
    }

private:
    // False when a walk beyond its name has been here before.
    bool enter(std::uint32_t position) {
        if (walked_.empty()) walked_.resize(std::size_t{block_.size()} + 1);
        if (walked_[position]) return false;
        walked_[position] = true;
        return true;
    }

    const md_region& block_;
    std::vector<bool> walked_;
};

void read_row_counts(const md_region& stream, std::uint32_t& position, std::uint64_t mask, table_row_counts& counts) {
    for (unsigned i = 0; i < max_tables; ++i)
        if ((mask >> i & 1) != 0) counts[i] = stream.read_value<unsigned int>(position);
}

}  // namespace

struct metadata_parser::streams {
    md_region tables;
    std::optional<md_region> pdb;
};

metadata_parser::metadata_parser(std::uint64_t size, const unsigned char* data)
    : metadata_parser(make_block(size, data)) {}

metadata_parser::metadata_parser(const md_region& block) {
    const streams found = find_streams(block);
    if (found.tables.size() == 0) throw_error("No #~ stream", constructor);

    unsigned char heap_sizes = 0;
    const std::uint32_t first_row = read_table_header(found.tables, heap_sizes);
    if (found.pdb) read_pdb_header(*found.pdb);

    // The tables of a portable PDB refer to rows of the image, whose counts it repeats.
    table_row_counts counts = row_counts_;
    if (pdb_)
        for (unsigned i = 0; i < first_pdb_table; ++i) counts[i] = pdb_->referenced_rows[i];
    modes_ = make_modes(heap_sizes, counts);
    place_tables(found.tables, first_row);
}

metadata_parser::streams metadata_parser::find_streams(const md_region& block) {
    std::uint32_t position = 0;
    const auto root = block.read_value<STORAGESIGNATURE>(position);
    if (root.signature != metadata_signature) throw_error("Invalid metadata signature", constructor);
    std::uint32_t version_position = 0;
    version_ = block.create_child(position, root.version_length).read_string_utf8(version_position).data();

    position = to_position(position + round_up_to_4(root.version_length), constructor);
    const auto header = block.read_value<STORAGEHEADER>(position);

    streams found;
    stream_names names(block);
    for (unsigned i = 0; i < header.streams; ++i) {
        const auto stream = block.read_value<STORAGESTREAM>(position);
        const std::string_view name = names.read(position);
        const auto region = [&] { return block.create_child(stream.offset, stream.size); };
        if (name == "#~" || name == "#-")
            found.tables = region();
        else if (name == "#Strings")
            heaps_[strings_heap - 1] = region();
        else if (name == "#GUID")
            heaps_[guid_heap - 1] = region();
        else if (name == "#Blob")
            heaps_[blob_heap - 1] = region();
        else if (name == "#Pdb")
            found.pdb = region();
        position = to_position(position + round_up_to_4(name.size() + std::uint64_t{1}), constructor);
    }
    return found;
}

// Returns where the rows begin.
std::uint32_t metadata_parser::read_table_header(const md_region& stream, unsigned char& heap_sizes) {
    std::uint32_t position = 0;
    const auto header = stream.read_value<CMiniMdSchemaBase>(position);
    heap_sizes = header.heap_sizes;
    read_row_counts(stream, position, header.valid, row_counts_);
    if ((header.heap_sizes & extra_data_flag) != 0) stream.read_value<unsigned int>(position);
    return position;
}

void metadata_parser::read_pdb_header(const md_region& stream) {
    std::uint32_t position = 0;
    const auto header = stream.read_value<CMiniPdbSchemaBase>(position);
    pdb_ = pdb_header{header.id, {}};
    const std::uint64_t mask = std::uint64_t{header.referenced_tables[1]} << 32 | header.referenced_tables[0];
    read_row_counts(stream, position, mask, pdb_->referenced_rows);
}

void metadata_parser::place_tables(const md_region& stream, std::uint32_t position) {
    const auto place = [&](unsigned number, std::uint32_t row_size) {
        row_sizes_[number] = row_size;
        const std::uint64_t size = std::uint64_t{row_size} * row_counts_[number];
        if (size == 0) return;
        // A size beyond 32 bits fits into no stream either.
        const auto bounded = static_cast<std::uint32_t>(size > 0xFFFFFFFF ? 0xFFFFFFFF : size);
        tables_[number] = stream.create_child(position, bounded);
        position += bounded;
    };
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        (place(std::tuple_element_t<I, supported_tables>::number,
               std::tuple_element_t<I, supported_tables>::get_row_size(modes_)),
         ...);
    }
    (std::make_index_sequence<supported_table_count>{});
}

GUID metadata_parser::get_stream_data(md_stream<guid_heap> index, bool null_allowed) const {
    static constexpr throw_site here{
        "const struct _GUID &__cdecl qv::metadata::detail_metadata::metadata_parser::get_stream_data(const struct "
        "qv::metadata::detail_metadata::md_stream<2>,const bool) const",
        metadata_source};
    if (index.index == 0) {
        if (null_allowed) return {};
        throw_error("Zero #GUID stream index", here);
    }
    // A position beyond 32 bits is clamped to one that no GUID fits behind.
    const std::uint64_t position = (std::uint64_t{index.index} - 1) * sizeof(GUID);
    auto bounded = static_cast<std::uint32_t>(position > 0xFFFFFFFF ? 0xFFFFFFFF : position);
    return heaps_[guid_heap - 1].read_value<GUID>(bounded);
}

std::string_view metadata_parser::get_stream_data(md_stream<strings_heap> index) const {
    std::uint32_t position = index.index;
    return heaps_[strings_heap - 1].read_string_utf8(position);
}

md_region metadata_parser::get_stream_data(md_stream<blob_heap> index) const {
    const md_region& heap = heaps_[blob_heap - 1];
    std::uint32_t position = index.index;
    const std::uint32_t size = heap.read_compressed_unsigned(position);
    return heap.create_child(position, size);
}

std::uint32_t accessor::get_position(unsigned table, std::uint32_t row, std::uint32_t column_offset) const {
    static constexpr throw_site here{
        "unsigned int __cdecl qv::metadata::detail_metadata::accessor::get_field_value(const unsigned int) const",
        metadata_source};
    if (row == 0) throw_error("Zero table index", here);
    if (row > parser_.row_count(table)) throw_error("Too large table index", here);
    // Inside the table's region, whose size is rows times row size and has 32 bits.
    return (row - 1) * parser_.row_size(table) + column_offset;
}

}  // namespace qv::metadata::detail_metadata
