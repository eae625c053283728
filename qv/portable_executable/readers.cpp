#include "qv/portable_executable/readers.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "base/exception.h"
#include "core/stream/FileNativeStream.h"

#define QV_STREAM "class qv::portable_executable::core_stream_adapter"
#define QV_SECTIONS \
    "const class std::vector<struct _IMAGE_SECTION_HEADER,class std::allocator<struct _IMAGE_SECTION_HEADER> > &"

namespace qv::portable_executable {
namespace {

// No more than a page: a hostile image may ask for pieces that lie far apart.
constexpr std::uint64_t longest_ahead = 4096;

constexpr const char* source = "sharedCommon/Native/Shared/include/qv/portable_executable/readers";

// How a header with an unknown magic fails, and a ROM header where directories are wanted.
constexpr const char* invalid_optional_header_message = "Invalid optional header signature";

// Reads the rest of a record whose first member has been read already.
template <class Stream, class Record, class First>
void read_rest(Stream& stream, Record& record, const First& first) {
    std::memcpy(&record, &first, sizeof first);
    stream.read(reinterpret_cast<unsigned char*>(&record) + sizeof first, sizeof record - sizeof first);
}

// Reads `count` items in steps, so that memory grows only with bytes that are there.
template <class Stream, class Item>
void read_items(Stream& stream, std::uint64_t count, std::vector<Item>& items) {
    constexpr std::uint64_t step = (1u << 20) / sizeof(Item);
    items.clear();
    if (count > step && count <= stream.remaining() / sizeof(Item)) items.reserve(static_cast<std::size_t>(count));
    while (items.size() < count) {
        const std::size_t done = items.size();
        const std::uint64_t part = std::min(step, count - done);
        items.resize(static_cast<std::size_t>(done + part));
        stream.read(items.data() + done, part * sizeof(Item));
    }
}

// File offset of a directory's data, 0 when no section holds it whole.
std::uint64_t to_file_offset(const image_sections& sections, const IMAGE_DATA_DIRECTORY& directory) {
    const std::uint64_t begin = directory.VirtualAddress;
    const std::uint64_t end = begin + directory.Size;
    for (const auto& section : sections) {
        count_work(1);
        const std::uint64_t section_begin = section.VirtualAddress;
        if (section_begin <= begin && end <= section_begin + section.VirtualSize)
            return section.PointerToRawData + (begin - section_begin);
    }
    return 0;
}

bool is_absent(const IMAGE_DATA_DIRECTORY& directory) {
    return directory.VirtualAddress == 0 || directory.Size == 0;
}

bool leads_to_symbols(std::uint32_t debug_type) {
    return debug_type == debug_type_codeview || debug_type == debug_type_embedded_portable_pdb;
}

}  // namespace

// The virtual size bounds the raw data here, as it always did; compilers write it no smaller than what they store.
section_ranges::section_ranges(const image_sections& sections) {
    ranges_.reserve(sections.size());
    for (const auto& section : sections)
        ranges_.push_back({section.PointerToRawData, std::uint64_t{section.PointerToRawData} + section.VirtualSize});
    std::sort(ranges_.begin(), ranges_.end(), [](const range& left, const range& right) {
        count_work(1);
        return left.begin < right.begin;
    });
    std::uint64_t furthest = 0;
    for (range& item : ranges_) item.furthest_end = furthest = std::max(furthest, item.furthest_end);
}

bool section_ranges::hold(std::uint64_t offset, std::uint64_t size) const noexcept {
    const auto behind =
        std::upper_bound(ranges_.begin(), ranges_.end(), offset, [](std::uint64_t value, const range& item) {
            count_work(1);
            return value < item.begin;
        });
    return behind != ranges_.begin() && offset + size <= std::prev(behind)->furthest_end;
}

core_stream_adapter::core_stream_adapter(IReadSeekCoreStream& stream) : stream_(stream), base_(stream.GetPosition()) {
    stream_.Seek(SeekOrigin::End, 0);
    end_ = stream_.GetPosition();
    position_ = base_;
}

void core_stream_adapter::read(void* destination, std::uint64_t size) {
    if (!is_read_ahead(size) && size <= std::min(end_ - position_, longest_ahead)) read_ahead();
    if (is_read_ahead(size)) {
        std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(position_ - ahead_begin_), size,
                    static_cast<unsigned char*>(destination));
    } else {
        stream_.Seek(SeekOrigin::Begin, static_cast<std::int64_t>(position_));
        stream_.Read(destination, size);
    }
    position_ += size;
    count_work(size);  // of a read that fails nothing is done
}

void core_stream_adapter::seek(std::int64_t position) {
    const std::int64_t target = static_cast<std::int64_t>(base_) + position;
    // The stream has its own words for a place outside of it.
    if (target < 0 || static_cast<std::uint64_t>(target) > end_) stream_.Seek(SeekOrigin::Begin, target);
    position_ = static_cast<std::uint64_t>(target);
}

bool core_stream_adapter::is_read_ahead(std::uint64_t size) const noexcept {
    return position_ >= ahead_begin_ && position_ - ahead_begin_ <= ahead_.size() &&
           size <= ahead_.size() - (position_ - ahead_begin_);
}

void core_stream_adapter::read_ahead() {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min(end_ - position_, longest_ahead)));
    stream_.Seek(SeekOrigin::Begin, static_cast<std::int64_t>(position_));
    stream_.Read(bytes.data(), bytes.size());
    ahead_ = std::move(bytes);
    ahead_begin_ = position_;
}

template <class Stream>
void read_image_header(Stream& stream, image_header& header) {
    static constexpr throw_site here{"void __cdecl qv::portable_executable::read_image_header<" QV_STREAM ">(" QV_STREAM
                                     " &,union qv::portable_executable::image_header &)",
                                     source};
    std::uint16_t signature = 0;
    stream.read(&signature, sizeof signature);
    switch (signature) {
        case vxd_signature: return read_rest(stream, header.vxd, signature);
        case os2_signature:
        case dos_signature: return read_rest(stream, header.dos, signature);
        default: throw_error("Invalid DOS header signature", here, errtag_pe_dos_hdr_signature{signature});
    }
}

template <class Stream>
void read_image_file_header(Stream& stream, const image_header& header, IMAGE_FILE_HEADER& file_header) {
    static constexpr throw_site here{
        "void __cdecl qv::portable_executable::read_image_file_header<" QV_STREAM ">(" QV_STREAM
        " &,const union qv::portable_executable::image_header &,struct _IMAGE_FILE_HEADER &)",
        source};
    if (header.signature != dos_signature)
        throw_error("Unexpected DOS header signature", here, errtag_pe_dos_hdr_signature{header.signature});
    stream.seek(header.dos.e_lfanew);
    std::uint32_t signature = 0;
    stream.read(&signature, sizeof signature);
    if (signature != nt_signature)
        throw_error("Invalid NT header signature", here, errtag_pe_nt_hdr_signature{signature});
    stream.read(&file_header, sizeof file_header);
}

template <class Stream>
void read_image_optional_header(Stream& stream, const IMAGE_FILE_HEADER& file_header,
                                image_optional_header& optional_header) {
    static constexpr throw_site here{
        "void __cdecl qv::portable_executable::read_image_optional_header<" QV_STREAM ">(" QV_STREAM
        " &,const struct _IMAGE_FILE_HEADER &,struct qv::portable_executable::image_optional_header &)",
        source};
    const unsigned size = file_header.SizeOfOptionalHeader;
    std::uint16_t magic = 0;
    if (size < sizeof magic) throw_error("Invalid option header size", here);
    stream.read(&magic, sizeof magic);

    std::uint32_t directories = 0;
    switch (magic) {
        case optional_header_32_magic:
            if (size < sizeof optional_header.header32) throw_error("Invalid 32-bit option header size", here);
            read_rest(stream, optional_header.header32, magic);
            directories = optional_header.header32.NumberOfRvaAndSizes;
            break;
        case optional_header_64_magic:
            if (size < sizeof optional_header.header64) throw_error("Invalid 64-bit option header size", here);
            read_rest(stream, optional_header.header64, magic);
            directories = optional_header.header64.NumberOfRvaAndSizes;
            break;
        case optional_header_rom_magic:
            if (size < sizeof optional_header.rom) throw_error("Invalid ROM option header size", here);
            read_rest(stream, optional_header.rom, magic);
            break;
        default: throw_error(invalid_optional_header_message, here, errtag_pe_opt_hdr_signature{magic});
    }
    if (directories > standard_directories)
        read_items(stream, directories - standard_directories, optional_header.further_directories);
}

const image_data_directories& get_data_directories(const image_optional_header& header) {
    static constexpr throw_site here{
        "const class std::array<struct _IMAGE_DATA_DIRECTORY,16> &__cdecl "
        "qv::portable_executable::get_data_directories(const struct qv::portable_executable::image_optional_header &)",
        "sharedCommon/Native/Shared/include/qv/portable_executable/parser"};
    switch (header.Magic) {
        case optional_header_32_magic: return header.header32.DataDirectory;
        case optional_header_64_magic: return header.header64.DataDirectory;
        default: throw_error(invalid_optional_header_message, here, errtag_pe_opt_hdr_signature{header.Magic});
    }
}

template <class Stream>
void read_image_com_data_directory(Stream& stream, const image_sections& sections,
                                   const IMAGE_DATA_DIRECTORY& directory, read_metadata_mode mode, image_data& image) {
    static constexpr throw_site here{
        "void __cdecl qv::portable_executable::read_image_com_data_directory<" QV_STREAM ">(" QV_STREAM
        " &," QV_SECTIONS
        ",const struct _IMAGE_DATA_DIRECTORY &,class std::vector<unsigned char,class std::allocator<unsigned char> > "
        "&)",
        source};
    if (is_absent(directory)) throw_error("Invalid cor image directory", here);
    const std::uint64_t header_offset = to_file_offset(sections, directory);
    if (header_offset == 0) throw_error("Can't get cor image directory virtual address", here);

    IMAGE_COR20_HEADER header;
    stream.seek(static_cast<std::int64_t>(header_offset));
    stream.read(&header, sizeof header);
    if (header.cb != sizeof header) throw_error("Invalid cor header size, version 2.0 expected", here);
    if (is_absent(header.MetaData)) throw_error("Invalid metadata image directory ", here);
    // The fixed part of the metadata root and the shortest version string.
    if (header.MetaData.Size < 20) throw_error("Too small metadata size", here);
    const std::uint64_t metadata_offset = to_file_offset(sections, header.MetaData);
    if (metadata_offset == 0) throw_error("Can't get metadata virtual address", here);

    image.metadata_offset = metadata_offset;
    image.metadata_size = header.MetaData.Size;
    std::uint32_t signature = 0;
    stream.seek(static_cast<std::int64_t>(metadata_offset));
    if (mode == read_metadata_mode::whole) {
        read_items(stream, image.metadata_size, image.metadata);
        std::memcpy(&signature, image.metadata.data(), sizeof signature);
    } else {
        // A block that the file does not hold fails as reading it does: where the file ends.
        if (image.metadata_size > stream.remaining())
            stream.seek(static_cast<std::int64_t>(metadata_offset + stream.remaining()));
        stream.read(&signature, sizeof signature);
    }
    if (signature != metadata_signature)
        throw_error("Invalid metadata signature", here, errtag_pe_cor_sec_signature{signature});
}

// Data of different entries may overlap in a hostile image, so that a small file would yield data without end. The
// allowance, the size of the file, is more than entries that lie side by side can ever need.
template <class Stream>
bool read_image_debug_directory(Stream& stream, const section_ranges& sections, const IMAGE_DEBUG_DIRECTORY& directory,
                                std::uint64_t& data_allowance, image_debug_entry& entry) {
    static constexpr throw_site here{
        "bool __cdecl qv::portable_executable::read_image_debug_directory<" QV_STREAM ">(" QV_STREAM " &," QV_SECTIONS
        ",const struct _IMAGE_DEBUG_DIRECTORY &,unsigned __int64 &,struct qv::portable_executable::image_debug_entry "
        "&)",
        source};
    if (!leads_to_symbols(directory.Type)) return false;
    entry = {directory.Characteristics, directory.TimeDateStamp, directory.MajorVersion,
             directory.MinorVersion,    directory.Type,          {}};
    if (directory.SizeOfData == 0) return true;
    if (directory.PointerToRawData == 0)
        throw_error("RAW data pointer in image debug directory should be declared", here);
    if (!sections.hold(directory.PointerToRawData, directory.SizeOfData)) return true;
    stream.seek(directory.PointerToRawData);
    read_items(stream, directory.SizeOfData, entry.data);
    if (directory.SizeOfData > data_allowance) throw_error("Too large debug data", here);
    data_allowance -= directory.SizeOfData;
    return true;
}

template <class Stream>
void read_image_debug_data_directory(Stream& stream, const image_sections& sections,
                                     const IMAGE_DATA_DIRECTORY& directory, std::vector<image_debug_entry>& entries) {
    static constexpr throw_site here{"void __cdecl qv::portable_executable::read_image_debug_data_directory<" QV_STREAM
                                     ">(" QV_STREAM " &," QV_SECTIONS
                                     ",const struct _IMAGE_DATA_DIRECTORY &,class std::vector<struct "
                                     "qv::portable_executable::image_debug_entry,class "
                                     "std::allocator<struct qv::portable_executable::image_debug_entry> > &)",
                                     source};
    if (is_absent(directory)) return;
    const std::uint64_t offset = to_file_offset(sections, directory);
    if (offset == 0) throw_error("Can't get debug data directory virtual address", here);
    stream.seek(0);
    std::uint64_t data_allowance = stream.remaining();
    stream.seek(static_cast<std::int64_t>(offset));
    std::vector<IMAGE_DEBUG_DIRECTORY> directories;
    read_items(stream, directory.Size / sizeof(IMAGE_DEBUG_DIRECTORY), directories);
    const section_ranges ranges(sections);
    for (const auto& item : directories) {
        image_debug_entry entry;
        if (read_image_debug_directory(stream, ranges, item, data_allowance, entry))
            entries.push_back(std::move(entry));
    }
}

template <class Stream>
void read_image_data(Stream& stream, image_data& image, read_metadata_mode mode) {
    image_header header{};
    read_image_header(stream, header);
    IMAGE_FILE_HEADER file_header;
    read_image_file_header(stream, header, file_header);
    image_optional_header optional_header{};
    read_image_optional_header(stream, file_header, optional_header);
    image_sections sections;
    read_items(stream, file_header.NumberOfSections, sections);

    const image_data_directories& directories = get_data_directories(optional_header);
    read_image_com_data_directory(stream, sections, directories[com_directory], mode, image);
    read_image_debug_data_directory(stream, sections, directories[debug_directory], image.debug_entries);
}

image_data read_image_file(const boost::filesystem::path& path) {
    FileNativeStream file;
    file.Open(path);
    core_stream_adapter stream(file);
    image_data image;
    read_image_data(stream, image);
    return image;
}

template void read_image_header(core_stream_adapter&, image_header&);
template void read_image_file_header(core_stream_adapter&, const image_header&, IMAGE_FILE_HEADER&);
template void read_image_optional_header(core_stream_adapter&, const IMAGE_FILE_HEADER&, image_optional_header&);
template void read_image_com_data_directory(core_stream_adapter&, const image_sections&, const IMAGE_DATA_DIRECTORY&,
                                            read_metadata_mode, image_data&);
template void read_image_debug_data_directory(core_stream_adapter&, const image_sections&, const IMAGE_DATA_DIRECTORY&,
                                              std::vector<image_debug_entry>&);
template bool read_image_debug_directory(core_stream_adapter&, const section_ranges&, const IMAGE_DEBUG_DIRECTORY&,
                                         std::uint64_t&, image_debug_entry&);
template void read_image_data(core_stream_adapter&, image_data&, read_metadata_mode);

}  // namespace qv::portable_executable
