#include "tests/support/builders/pe_builder.h"

#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <utility>

namespace qv::test {
namespace {

constexpr std::size_t cor_header_size = 72;
constexpr std::size_t debug_entry_size = 28;

std::uint32_t rva(std::size_t offset) {
    return static_cast<std::uint32_t>(offset) + pe_rva_bias;
}

std::size_t align(std::size_t value, std::size_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

}  // namespace

pe_builder& pe_builder::metadata(bytes block) {
    metadata_ = std::move(block);
    return *this;
}

pe_builder& pe_builder::debug_entry(std::uint32_t type, std::uint16_t minor_version, std::uint32_t stamp, bytes data) {
    entries_.push_back({type, minor_version, stamp, std::move(data)});
    return *this;
}

pe_image pe_builder::build() const {
    const bool plus = kind_ == pe_kind::pe32_plus;
    const std::size_t directories = 16 + further_directories_;
    const std::size_t sections = 1 + further_sections_;
    pe_image image{};
    image.nt_headers = 0x80;
    image.optional_header = image.nt_headers + 24;
    image.directory_count = image.optional_header + (plus ? 108 : 92);
    image.section_table = image.directory_count + 4 + 8 * directories;
    image.cor_header = align(image.section_table + 40 * sections, 0x400);
    image.debug_directory = image.cor_header + cor_header_size;
    image.metadata = image.debug_directory + debug_entry_size * entries_.size();
    std::size_t end = align(image.metadata + metadata_.size(), 4);
    for (const entry& item : entries_) {
        image.debug_data.push_back(end);
        end = align(end + item.data.size(), 4);
    }

    byte_writer out;
    out.text("MZ").zeros(0x3A).u32(image.nt_headers).zeros(0x40);
    out.u32(0x4550).u16(plus ? 0x8664 : 0x14C).u16(sections).zeros(12);
    out.u16(image.section_table - image.optional_header).u16(0x2022);
    out.u16(plus ? 0x20B : 0x10B).zeros(plus ? 106 : 90).u32(directories).zeros(8 * directories);
    out.zeros(8).u32(end - image.cor_header).u32(rva(image.cor_header)).u32(end - image.cor_header);
    out.u32(image.cor_header).zeros(16 + 40 * std::size_t{further_sections_}).align(0x400);
    out.u32(cor_header_size).u16(2).u16(0).u32(rva(image.metadata)).u32(metadata_.size()).zeros(cor_header_size - 16);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const auto& [type, minor_version, stamp, data] = entries_[i];
        const std::size_t place = data.empty() ? 0 : image.debug_data[i];
        out.u32(0).u32(stamp).u16(0x0100).u16(minor_version).u32(type).u32(data.size());
        out.u32(place == 0 ? 0 : rva(place)).u32(place);
    }
    out.append(metadata_).align(4);
    for (const entry& item : entries_) out.append(item.data).align(4);

    image.data = out.data();
    poke(image.data, image.directory(14), rva(image.cor_header), 4);
    poke(image.data, image.directory(14) + 4, cor_header_size, 4);
    if (entries_.empty()) return image;
    poke(image.data, image.directory(6), rva(image.debug_directory), 4);
    poke(image.data, image.directory(6) + 4, debug_entry_size * entries_.size(), 4);
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
