// Reads what a symbol server needs of a managed PE image: the CLI metadata and the debug directory entries that can
// lead to symbols. The image is read in file layout, from any seekable stream; it is never mapped or run.
//
// Readers are templates over the stream type: `read(destination, size)` gets exactly that many bytes or throws,
// `seek(position)` goes to a position counted from the beginning of the image, `remaining()` is the number of bytes
// from here to the end. They are instantiated for core_stream_adapter.
//
// A failed check throws qv::exception; a short read or a bad position is the stream's own failure. No count or size in
// the image is believed beyond what the stream holds.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <vector>

#include "base/work_counter.h"
#include "core/stream/CoreStreams.h"
#include "qv/portable_executable/parser.h"

namespace qv::portable_executable {

constexpr std::uint32_t debug_type_codeview = 2;
constexpr std::uint32_t debug_type_embedded_portable_pdb = 17;

// In a CodeView entry: it names a portable PDB ("PM").
constexpr std::uint16_t portable_pdb_minor_version = 0x504D;

// A debug directory entry together with its data.
struct image_debug_entry {
    std::uint32_t Characteristics;
    std::uint32_t TimeDateStamp;
    std::uint16_t MajorVersion;
    std::uint16_t MinorVersion;
    std::uint32_t Type;
    std::vector<unsigned char> data;  // empty when it has none, or when no section holds it
};

// How much of the metadata block that the CLI header names is wanted: all of it, or only where it lies.
enum class read_metadata_mode { whole, place };

struct image_data {
    std::vector<unsigned char> metadata;  // empty when only its place is wanted
    std::uint64_t metadata_offset = 0;    // counted from the beginning of the image
    std::uint32_t metadata_size = 0;
    std::vector<image_debug_entry> debug_entries;  // CodeView and embedded portable PDB, in directory order
};

using image_sections = std::vector<IMAGE_SECTION_HEADER>;

// The parts of the file that sections hold, made to be asked often.
class section_ranges {
public:
    explicit section_ranges(const image_sections& sections);

    // Whether one section holds the `size` bytes at this file offset. Takes as long as a binary search.
    bool hold(std::uint64_t offset, std::uint64_t size) const noexcept;

private:
    struct range {
        std::uint64_t begin;
        std::uint64_t furthest_end;  // of this range and all that begin before it
    };
    std::vector<range> ranges_;  // by begin
};

// Presents a core stream to the readers. The image begins where the stream stands when the adapter is made. The stream
// is not owned, is not to be used by others meanwhile, and keeps its length. What is read piece by piece is read ahead:
// a call of the system for each header and each debug entry would be most of the time that an image takes.
class core_stream_adapter {
public:
    explicit core_stream_adapter(IReadSeekCoreStream& stream);

    // Both throw what the stream throws.
    void read(void* destination, std::uint64_t size);
    void seek(std::int64_t position);
    std::uint64_t remaining() const noexcept { return end_ - position_; }

private:
    bool is_read_ahead(std::uint64_t size) const noexcept;
    void read_ahead();

    IReadSeekCoreStream& stream_;
    std::uint64_t base_;
    std::uint64_t end_;
    std::uint64_t position_;
    std::vector<unsigned char> ahead_;
    std::uint64_t ahead_begin_ = 0;
};

// DOS or VxD header.
template <class Stream>
void read_image_header(Stream& stream, image_header& header);

// NT signature and file header; only behind a DOS header.
template <class Stream>
void read_image_file_header(Stream& stream, const image_header& header, IMAGE_FILE_HEADER& file_header);

// Optional header with all data directories.
template <class Stream>
void read_image_optional_header(Stream& stream, const IMAGE_FILE_HEADER& file_header,
                                image_optional_header& optional_header);

// The standard data directories of a 32-bit or 64-bit image; any other kind fails.
const image_data_directories& get_data_directories(const image_optional_header& header);

// CLI header and metadata; an image without them fails, also one that ends before all of them.
template <class Stream>
void read_image_com_data_directory(Stream& stream, const image_sections& sections,
                                   const IMAGE_DATA_DIRECTORY& directory, read_metadata_mode mode, image_data& image);

// Debug directory; an absent one has no entries, one that no section holds fails.
template <class Stream>
void read_image_debug_data_directory(Stream& stream, const image_sections& sections,
                                     const IMAGE_DATA_DIRECTORY& directory, std::vector<image_debug_entry>& entries);

// One debug entry, with its data when it is of a kind that leads to symbols; false for any other kind. Leaves the
// stream anywhere. `data_allowance` is how many data bytes the entries of the image may still have, see the
// definition.
template <class Stream>
bool read_image_debug_directory(Stream& stream, const section_ranges& sections, const IMAGE_DEBUG_DIRECTORY& directory,
                                std::uint64_t& data_allowance, image_debug_entry& entry);

// All of the above in order. After a failure `image` is filled as far as the reading got.
template <class Stream>
void read_image_data(Stream& stream, image_data& image, read_metadata_mode mode = read_metadata_mode::whole);

// The same of a file, which is closed before this returns. Throws also what opening the file throws.
image_data read_image_file(const boost::filesystem::path& path);

}  // namespace qv::portable_executable
