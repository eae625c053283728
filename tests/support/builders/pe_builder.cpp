#include "tests/support/builders/pe_builder.h"

#include <algorithm>
#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <utility>

namespace qv::test {
namespace {

constexpr std::size_t nt_offset = 0x80;
constexpr std::size_t cor_header_size = 72;
constexpr std::size_t debug_entry_size = 28;

std::uint32_t rva(std::size_t offset) {
    return static_cast<std::uint32_t>(offset) + pe_rva_bias;
}

void write_directory(bytes& data, std::size_t at, std::size_t offset, std::size_t size) {
    poke(data, at, rva(offset), 4);
    poke(data, at + 4, size, 4);
}

}  // namespace

pe_builder& pe_builder::metadata(bytes block) {
    metadata_ = std::move(block);
    return *this;
}

pe_builder& pe_builder::further_directories(unsigned count) {
    further_directories_ = count;
    return *this;
}

pe_builder& pe_builder::further_sections(unsigned count) {
    further_sections_ = count;
    return *this;
}

pe_builder& pe_builder::debug_entry(std::uint32_t type, std::uint16_t minor_version, std::uint32_t stamp, bytes data) {
    entries_.push_back({type, minor_version, stamp, std::move(data)});
    return *this;
}

pe_image pe_builder::build() const {
    pe_image image{};
    const bool plus = kind_ == pe_kind::pe32_plus;
    const std::size_t optional_size = (plus ? 240u : 224u) + 8u * further_directories_;

    byte_writer headers;
    headers.text("MZ").zeros(0x3A).u32(nt_offset).zeros(nt_offset - 0x40);
    image.nt_headers = headers.size();
    headers.u32(0x4550).u16(plus ? 0x8664 : 0x14C).u16(1 + further_sections_).zeros(12).u16(optional_size).u16(0x2022);
    image.optional_header = headers.size();
    headers.u16(plus ? 0x20B : 0x10B).zeros(plus ? 106 : 90);
    image.directory_count = headers.size();
    headers.u32(16 + further_directories_).zeros(8 * std::size_t{16 + further_directories_});
    image.section_table = headers.size();
    headers.zeros(std::size_t{40} * (1 + further_sections_)).align(0x400);
    const std::size_t section_offset = headers.size();

    byte_writer file = std::move(headers);
    image.cor_header = file.size();
    file.zeros(cor_header_size);
    image.debug_directory = file.size();
    file.zeros(debug_entry_size * entries_.size());
    image.metadata = file.size();
    file.append(metadata_).align(4);
    for (const entry& item : entries_) {
        image.debug_data.push_back(file.size());
        file.append(item.data).align(4);
    }
    image.data = file.data();

    bytes& data = image.data;
    const std::size_t section_size = data.size() - section_offset;
    poke(data, image.section_table + 8, section_size, 4);
    poke(data, image.section_table + 12, rva(section_offset), 4);
    poke(data, image.section_table + 16, section_size, 4);
    poke(data, image.section_table + 20, section_offset, 4);

    write_directory(data, image.directory(14), image.cor_header, cor_header_size);
    poke(data, image.cor_header, cor_header_size, 4);
    poke(data, image.cor_header + 4, 2, 2);
    write_directory(data, image.cor_header + 8, image.metadata, metadata_.size());

    if (!entries_.empty())
        write_directory(data, image.directory(6), image.debug_directory, debug_entry_size * entries_.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        byte_writer record;
        record.u32(0).u32(entries_[i].stamp).u16(0).u16(entries_[i].minor_version).u32(entries_[i].type);
        record.u32(entries_[i].data.size());
        if (entries_[i].data.empty())
            record.u64(0);
        else
            record.u32(rva(image.debug_data[i])).u32(image.debug_data[i]);
        std::copy(record.data().begin(), record.data().end(),
                  data.begin() + static_cast<std::ptrdiff_t>(image.debug_directory + debug_entry_size * i));
    }
    return image;
}

bytes codeview_data(const GUID& guid, std::uint32_t age, std::string_view path) {
    return byte_writer().text("RSDS").guid(guid).u32(age).text(path).u8(0).data();
}

bytes pack_portable_pdb(const bytes& portable_pdb) {
    return byte_writer().text("MPDB").u32(portable_pdb.size()).append(deflate(portable_pdb)).data();
}

bytes deflate(const bytes& data) {
    boost::iostreams::zlib_params params;
    params.noheader = true;
    std::string packed;
    boost::iostreams::back_insert_device<std::string> sink(packed);
    boost::iostreams::zlib_compressor filter(params);
    filter.write(sink, reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    filter.close(sink, BOOST_IOS::out);
    return {packed.begin(), packed.end()};
}

}  // namespace qv::test
