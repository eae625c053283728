#include "symbol_services/symbol_server/file_identity.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/msf.h"
#include "symbol_services/classic_reader/names.h"
#include "symbol_services/symbol_server/file_key.h"

namespace qv::symbol_store {
namespace {

using classic_reader::byte_cursor;
using classic_reader::byte_source;

constexpr std::uint16_t image_signature = 0x5A4D;         // "MZ"
constexpr std::uint32_t nt_signature = 0x00004550;        // "PE" and two zero bytes
constexpr std::uint32_t metadata_signature = 0x424A5342;  // "BSJB"

file_identity is_none(std::wstring reason) {
    return {{}, std::move(reason)};
}

file_identity is_cut_off() {
    return is_none(L"the file is shorter than it says");
}

template <class T>
std::optional<T> read_at(const byte_source& file, std::uint64_t offset) {
    T value;
    if (offset + sizeof value > file.size()) return std::nullopt;
    file.read(offset, {reinterpret_cast<unsigned char*>(&value), sizeof value});
    return value;
}

// PE/COFF: the time stamp is the second field of the file header, the size of the image lies 56 bytes into the optional
// header of either width; each of the sections, 40 bytes, says where its data lie.
file_identity identify_image(const byte_source& file) {
    constexpr std::uint64_t new_header = 60, stamp = 8, sections = 6, optional_size = 20, optional = 24;
    constexpr std::uint64_t image_size = optional + 56, section_header = 40, raw_size = 16, raw_offset = 20;
    const auto begin = read_at<std::uint32_t>(file, new_header);
    if (!begin || read_at<std::uint32_t>(file, *begin) != nt_signature) return is_none(L"no PE image");
    const auto time = read_at<std::uint32_t>(file, *begin + stamp);
    const auto size = read_at<std::uint32_t>(file, *begin + image_size);
    const auto count = read_at<std::uint16_t>(file, *begin + sections);
    const auto header_size = read_at<std::uint16_t>(file, *begin + optional_size);
    if (!time || !size || !count || !header_size) return is_cut_off();
    for (std::uint64_t i = 0; i < *count; ++i) {
        const auto section = *begin + optional + *header_size + i * section_header;
        const auto data_size = read_at<std::uint32_t>(file, section + raw_size);
        const auto data = read_at<std::uint32_t>(file, section + raw_offset);
        if (!data_size || !data || std::uint64_t{*data} + *data_size > file.size()) return is_cut_off();
    }
    return {format_index(*time, *size, 0), {}};
}

// ECMA-335 II.24.2.1 and the Portable PDB format: the root lists the streams; "#Pdb" begins with the id, a GUID and a
// stamp.
file_identity identify_metadata(const byte_source& file) {
    constexpr std::size_t longest_root = 4096;
    std::vector<unsigned char> root(static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), longest_root)));
    file.read(0, root);
    byte_cursor cursor(root);
    cursor.skip(12);
    cursor.skip(cursor.read<std::uint32_t>());  // the version text
    cursor.skip(2);
    std::optional<std::uint32_t> pdb;
    for (auto left = cursor.read<std::uint16_t>(); left != 0; --left) {
        const auto offset = cursor.read<std::uint32_t>();
        const auto size = cursor.read<std::uint32_t>();
        const auto name = cursor.text();
        cursor.skip(classic_reader::align4(name.size() + 1) - (name.size() + 1));
        if (std::uint64_t{offset} + size > file.size()) return is_cut_off();
        if (name == "#Pdb") pdb = offset;
    }
    const auto id = pdb ? read_at<GUID>(file, *pdb) : std::nullopt;
    return id ? file_identity{format_index(*id, 0xFFFFFFFF, 0), {}} : is_none(L"metadata that are no portable PDB");
}

file_identity identify_classic(std::unique_ptr<const byte_source> source) {
    constexpr std::uint32_t info_stream = 1, debug_stream = 3;
    constexpr std::uint64_t page_size = 32, page_count = 40, debug_age = 8;
    const auto& file = *source;
    const std::uint64_t pages = read_at<std::uint32_t>(file, page_count).value_or(0);
    const bool is_whole = pages * read_at<std::uint32_t>(file, page_size).value_or(0) <= file.size();
    const classic_reader::msf_file container(std::move(source));
    if (!is_whole) return is_cut_off();
    const auto head = container.stream(info_stream).bytes(0, 28);
    byte_cursor cursor(head);
    const auto info = classic_reader::read_pdb_info(cursor);
    const auto age = container.has_stream(debug_stream)
                         ? container.stream(debug_stream).read_value<std::uint32_t>(debug_age)
                         : info.age;
    return {format_index(info.guid, age, 0), {}};
}

file_identity identify_content(std::unique_ptr<const byte_source> file) {
    if (read_at<std::uint16_t>(*file, 0) == image_signature) return identify_image(*file);
    if (read_at<std::uint32_t>(*file, 0) == metadata_signature) return identify_metadata(*file);
    return identify_classic(std::move(file));
}

}  // namespace

file_identity identify(const boost::filesystem::path& path) {
    try {
        return identify_content(classic_reader::open_disk_file(path));
    } catch (const std::exception& failure) {
        const std::string text = failure.what();
        return is_none({text.begin(), text.end()});
    }
}

}  // namespace qv::symbol_store
