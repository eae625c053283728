#include "symbol_services/classic_reader/msf.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr const char* source_name = "symbol_services/classic_reader/msf";

using namespace std::string_view_literals;
constexpr auto msf7_signature =
    "Microsoft C/C++ MSF 7.00\r\n\x1A"
    "DS\0\0\0"sv;
constexpr auto msf2_signature =
    "Microsoft C/C++ program database 2.00\r\n\x1A"
    "JG"sv;
constexpr auto metadata_signature = "BSJB"sv;
static_assert(msf7_signature.size() == 32);

constexpr std::uint32_t smallest_page = 512;
constexpr std::uint32_t largest_page = 0x10000;
constexpr std::uint32_t absent_stream = 0xFFFFFFFF;
constexpr std::size_t directory_map_offset = 52;

bool begins_with(std::span<const unsigned char> file, std::string_view signature) {
    return file.size() >= signature.size() && std::memcmp(file.data(), signature.data(), signature.size()) == 0;
}

void check_signature(std::span<const unsigned char> file) {
    constexpr const char* function =
        "void __cdecl qv::classic_reader::`anonymous-namespace'::check_signature("
        "class std::span<unsigned char const ,18446744073709551615>)";
    if (begins_with(file, msf7_signature)) return;
    if (begins_with(file, msf2_signature))
        throw_hresult_error("PDB file of the format before 7.0", e_pdb_v1_pdb, function, source_name, __LINE__);
    if (begins_with(file, metadata_signature))
        throw_hresult_error("Portable PDB file, not a classic one", e_pdb_not_implemented, function, source_name,
                            __LINE__);
    throw_hresult_error("Not a PDB file", e_pdb_format, function, source_name, __LINE__);
}

}  // namespace

msf_file::msf_file(std::span<const unsigned char> file) : file_(file) {
    check_signature(file);
    read_superblock();
    read_directory();
}

void msf_file::read_superblock() {
    byte_cursor cursor(file_.subspan(msf7_signature.size()));
    page_size_ = cursor.read<std::uint32_t>();
    cursor.skip(8);
    directory_size_ = cursor.read<std::uint32_t>();
    if (!std::has_single_bit(page_size_) || page_size_ < smallest_page || page_size_ > largest_page ||
        directory_size_ < sizeof(std::uint32_t) || directory_size_ > file_.size())
        throw_corrupt("Invalid PDB superblock", "void __cdecl qv::classic_reader::msf_file::read_superblock(void)",
                      source_name, __LINE__);
}

void msf_file::read_directory() {
    constexpr const char* function = "void __cdecl qv::classic_reader::msf_file::read_directory(void)";
    // Three levels: the superblock lists map pages, these list directory pages, these hold the directory. Each level is
    // copied out, so a list that names itself is read once like any other.
    const auto gather = [this](std::span<const unsigned char> page_numbers, std::uint64_t size) {
        std::vector<unsigned char> bytes;
        bytes.reserve(static_cast<std::size_t>(size));
        for (byte_cursor cursor(page_numbers); bytes.size() < size;) {
            const auto from = page(cursor.read<std::uint32_t>());
            const auto count = std::min<std::uint64_t>(size - bytes.size(), from.size());
            bytes.insert(bytes.end(), from.begin(), from.begin() + static_cast<std::ptrdiff_t>(count));
        }
        return bytes;
    };
    byte_cursor first_page(page(0));
    first_page.skip(directory_map_offset);
    const auto page_list = gather(first_page.take(first_page.remaining()), 4 * pages_for(directory_size_));
    const auto directory = gather(page_list, directory_size_);

    byte_cursor cursor(directory);
    const auto count = cursor.read<std::uint32_t>();
    byte_cursor sizes(cursor.take(4 * std::uint64_t{count}));
    const std::uint64_t listed_pages = cursor.remaining() / 4;
    const std::uint64_t file_pages = pages_for(file_.size());
    std::uint64_t used_pages = 0;
    std::uint64_t owned_pages = 0;  // without stream 0, which may lie on pages that were given away
    streams_.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        const auto size = sizes.read<std::uint32_t>();
        streams_.push_back({static_cast<std::size_t>(used_pages), size});
        if (size == absent_stream) continue;
        used_pages += pages_for(size);
        if (index != 0) owned_pages += pages_for(size);
        // No page belongs to two streams, so the streams together cannot be larger than the file.
        if (used_pages > listed_pages || pages_for(size) > file_pages || owned_pages > file_pages)
            throw_corrupt("Invalid PDB stream directory", function, source_name, __LINE__);
    }
    pages_.resize(static_cast<std::size_t>(used_pages));
    if (used_pages != 0) std::memcpy(pages_.data(), cursor.take(4 * used_pages).data(), 4 * pages_.size());
}

bool msf_file::has_stream(std::uint32_t index) const noexcept {
    return index < streams_.size() && streams_[index].size != absent_stream;
}

msf_stream msf_file::stream(std::uint32_t index) const {
    if (!has_stream(index))
        throw_corrupt("PDB stream not found",
                      "class qv::classic_reader::msf_stream __cdecl "
                      "qv::classic_reader::msf_file::stream(unsigned int) const",
                      source_name, __LINE__);
    return {*this, streams_[index].first_page, streams_[index].size};
}

// The last page of the file may be cut off.
std::span<const unsigned char> msf_file::page(std::uint32_t number) const {
    const std::uint64_t begin = std::uint64_t{number} * page_size_;
    if (begin >= file_.size())
        throw_corrupt("PDB page outside the file",
                      "class std::span<unsigned char const ,18446744073709551615> __cdecl "
                      "qv::classic_reader::msf_file::page(unsigned int) const",
                      source_name, __LINE__);
    const std::uint64_t size = std::min<std::uint64_t>(page_size_, file_.size() - begin);
    return file_.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(size));
}

std::span<const unsigned char> msf_stream::rest_of_page(std::uint64_t offset) const {
    const auto within = static_cast<std::size_t>(offset % file_->page_size_);
    const auto page = file_->page(file_->pages_[first_page_ + static_cast<std::size_t>(offset / file_->page_size_)]);
    if (within >= page.size())
        throw_corrupt("PDB page outside the file",
                      "class std::span<unsigned char const ,18446744073709551615> __cdecl "
                      "qv::classic_reader::msf_stream::rest_of_page(unsigned __int64) const",
                      source_name, __LINE__);
    return page.subspan(within);
}

void msf_stream::read(std::uint64_t offset, std::span<unsigned char> destination) const {
    if (offset > size_ || destination.size() > size_ - offset)
        throw_corrupt("Read beyond the end of a PDB stream",
                      "void __cdecl qv::classic_reader::msf_stream::read("
                      "unsigned __int64,class std::span<unsigned char,18446744073709551615>) const",
                      source_name, __LINE__);
    while (!destination.empty()) {
        const auto from = rest_of_page(offset);
        const auto count = std::min(from.size(), destination.size());
        std::memcpy(destination.data(), from.data(), count);
        destination = destination.subspan(count);
        offset += count;
    }
}

std::vector<unsigned char> msf_stream::bytes(std::uint64_t offset, std::uint64_t count) const {
    if (offset > size_ || count > size_ - offset)
        throw_corrupt("Read beyond the end of a PDB stream",
                      "class std::vector<unsigned char,class std::allocator<unsigned char> > __cdecl "
                      "qv::classic_reader::msf_stream::bytes(unsigned __int64,unsigned __int64) const",
                      source_name, __LINE__);
    std::vector<unsigned char> result(static_cast<std::size_t>(count));
    read(offset, result);
    return result;
}

std::string msf_stream::text(std::uint64_t offset, std::uint64_t longest) const {
    std::string result;
    for (auto left = offset < size_ ? std::min<std::uint64_t>(longest, size_ - offset) : 0; left != 0;) {
        const auto page = rest_of_page(offset);
        const auto from = page.first(static_cast<std::size_t>(std::min<std::uint64_t>(page.size(), left)));
        const auto end = std::find(from.begin(), from.end(), static_cast<unsigned char>(0));
        result.append(from.begin(), end);
        if (end != from.end()) break;
        offset += from.size();
        left -= from.size();
    }
    return result;
}

}  // namespace qv::classic_reader
