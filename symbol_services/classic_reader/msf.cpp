#include "symbol_services/classic_reader/msf.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

#include "base/work_counter.h"
#include "symbol_services/classic_reader/byte_cursor.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

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
constexpr std::size_t chunk_size = largest_page;  // whole pages, whatever their size

bool begins_with(std::span<const unsigned char> file, std::string_view signature) {
    return file.size() >= signature.size() && std::memcmp(file.data(), signature.data(), signature.size()) == 0;
}

void check_signature(std::span<const unsigned char> file) {
    if (begins_with(file, msf7_signature)) return;
    if (begins_with(file, msf2_signature)) throw_hresult_error("PDB file of the format before 7.0", e_pdb_v1_pdb);
    if (begins_with(file, metadata_signature))
        throw_hresult_error("Portable PDB file, not a classic one", e_pdb_not_implemented);
    throw_hresult_error("Not a PDB file", e_pdb_format);
}

}  // namespace

msf_file::msf_file(std::unique_ptr<const byte_source> source) : source_(std::move(source)) {
    std::vector<unsigned char> head(static_cast<std::size_t>(std::min<std::uint64_t>(source_->size(), largest_page)));
    source_->read(0, head);
    check_signature(head);
    read_superblock(head);
    read_directory(head);
}

void msf_file::read_superblock(std::span<const unsigned char> head) {
    byte_cursor cursor(head.subspan(msf7_signature.size()));
    page_size_ = cursor.read<std::uint32_t>();
    cursor.skip(8);
    directory_size_ = cursor.read<std::uint32_t>();
    if (!std::has_single_bit(page_size_) || page_size_ < smallest_page || page_size_ > largest_page ||
        directory_size_ < sizeof(std::uint32_t) || directory_size_ > source_->size())
        throw_corrupt("Invalid PDB superblock");
}

// Three levels: the superblock lists map pages, these list directory pages, these hold the directory. Each level is
// copied out, so a list that names itself is read once like any other.
void msf_file::read_directory(std::span<const unsigned char> head) {
    byte_cursor first_page(head.first(std::min<std::size_t>(head.size(), page_size_)));
    first_page.skip(directory_map_offset);
    const auto page_list = gather(first_page.take(first_page.remaining()), 4 * pages_for(directory_size_));
    read_streams(gather(page_list, directory_size_));
}

void msf_file::read_streams(std::span<const unsigned char> directory) {
    byte_cursor cursor(directory);
    const auto count = cursor.read<std::uint32_t>();
    byte_cursor sizes(cursor.take(4 * std::uint64_t{count}));
    const std::uint64_t listed_pages = cursor.remaining() / 4;
    const std::uint64_t file_pages = pages_for(source_->size());
    std::uint64_t used_pages = 0;
    std::uint64_t owned_pages = 0;  // without stream 0, which may lie on pages that were given away
    std::size_t chunks = 0;
    streams_.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        const auto size = sizes.read<std::uint32_t>();
        streams_.push_back({static_cast<std::size_t>(used_pages), chunks, size});
        if (size == absent_stream) continue;
        used_pages += pages_for(size);
        if (index != 0) owned_pages += pages_for(size);
        // No page belongs to two streams, so the streams together cannot be larger than the file.
        if (used_pages > listed_pages || pages_for(size) > file_pages || owned_pages > file_pages)
            throw_corrupt("Invalid PDB stream directory");
        chunks += static_cast<std::size_t>((std::uint64_t{size} + chunk_size - 1) / chunk_size);
    }
    pages_.resize(static_cast<std::size_t>(used_pages));
    if (used_pages != 0) std::memcpy(pages_.data(), cursor.take(4 * used_pages).data(), 4 * pages_.size());
    chunks_ = std::vector<lazy<chunk>>(chunks);
}

// Pages that are neighbours are read together. The last page of the file may be cut off.
msf_file::chunk msf_file::read_pages(std::span<const std::uint32_t> pages, std::uint64_t size) const {
    count_work(size);
    chunk result;
    result.bytes.resize(static_cast<std::size_t>(size));
    const std::span<unsigned char> bytes = result.bytes;
    for (std::size_t first = 0; first < pages.size();) {
        auto last = first + 1;
        while (last < pages.size() && pages[last] == pages[last - 1] + std::uint64_t{1}) ++last;
        const auto at = first * page_size_;
        const std::uint64_t begin = std::uint64_t{pages[first]} * page_size_;
        const auto wanted = std::min((last - first) * page_size_, bytes.size() - at);
        const auto there = static_cast<std::size_t>(
            std::min<std::uint64_t>(wanted, source_->size() - std::min(begin, source_->size())));
        if (there != 0) source_->read(begin, bytes.subspan(at, there));
        if (there != wanted) {
            result.present.resize(pages.size(), page_size_);
            for (auto page = first; page < last; ++page)
                result.present[page] = static_cast<std::uint32_t>(
                    std::min<std::size_t>(page_size_, there - std::min(there, (page - first) * page_size_)));
        }
        first = last;
    }
    return result;
}

std::vector<unsigned char> msf_file::gather(std::span<const unsigned char> page_numbers, std::uint64_t size) const {
    std::vector<std::uint32_t> pages(static_cast<std::size_t>(pages_for(size)));
    byte_cursor numbers(page_numbers);
    std::memcpy(pages.data(), numbers.take(4 * pages.size()).data(), 4 * pages.size());
    auto content = read_pages(pages, size);
    if (!content.present.empty()) throw_corrupt("PDB page outside the file");
    return std::move(content.bytes);
}

bool msf_file::has_stream(std::uint32_t index) const noexcept {
    return index < streams_.size() && streams_[index].size != absent_stream;
}

msf_stream msf_file::stream(std::uint32_t index) const {
    if (!has_stream(index)) throw_corrupt("PDB stream not found");
    return {*this, index, streams_[index].size};
}

std::span<const unsigned char> msf_file::bytes_from(std::uint32_t stream, std::uint64_t offset) const {
    const auto& entry = streams_[stream];
    const auto index = static_cast<std::size_t>(offset / chunk_size);
    const auto& content = chunks_[entry.first_chunk + index].get([&] {
        const auto begin = index * chunk_size;
        const auto size = std::min<std::uint64_t>(chunk_size, entry.size - begin);
        const auto pages = std::span<const std::uint32_t>(pages_).subspan(entry.first_page + begin / page_size_,
                                                                          static_cast<std::size_t>(pages_for(size)));
        return read_pages(pages, size);
    });
    const auto within = static_cast<std::size_t>(offset % chunk_size);
    const std::span<const unsigned char> rest = std::span(content.bytes).subspan(within);
    if (content.present.empty()) return rest;
    const auto present = content.present[within / page_size_];
    const auto within_page = within % page_size_;
    if (within_page >= present) throw_corrupt("PDB page outside the file");
    return rest.first(std::min(rest.size(), present - within_page));
}

void msf_stream::read(std::uint64_t offset, std::span<unsigned char> destination) const {
    if (offset > size_ || destination.size() > size_ - offset) throw_corrupt("Read beyond the end of a PDB stream");
    count_work(destination.size());
    while (!destination.empty()) {
        const auto from = file_->bytes_from(index_, offset);
        const auto count = std::min(from.size(), destination.size());
        std::memcpy(destination.data(), from.data(), count);
        destination = destination.subspan(count);
        offset += count;
    }
}

std::vector<unsigned char> msf_stream::bytes(std::uint64_t offset, std::uint64_t count) const {
    if (offset > size_ || count > size_ - offset) throw_corrupt("Read beyond the end of a PDB stream");
    std::vector<unsigned char> result(static_cast<std::size_t>(count));
    read(offset, result);
    return result;
}

std::span<const unsigned char> msf_stream::view(std::uint64_t offset, std::uint64_t count,
                                                std::vector<unsigned char>& room) const {
    if (offset < size_ && count <= size_ - offset) {
        const auto from = file_->bytes_from(index_, offset);
        count_work(1);
        if (from.size() >= count) return from.first(static_cast<std::size_t>(count));
    }
    room = bytes(offset, count);
    return room;
}

std::string msf_stream::text(std::uint64_t offset, std::uint64_t longest) const {
    std::string result;
    for (auto left = offset < size_ ? std::min<std::uint64_t>(longest, size_ - offset) : 0; left != 0;) {
        const auto there = file_->bytes_from(index_, offset);
        const auto from = there.first(static_cast<std::size_t>(std::min<std::uint64_t>(there.size(), left)));
        const auto end = std::find(from.begin(), from.end(), static_cast<unsigned char>(0));
        result.append(from.begin(), end);
        if (end != from.end()) break;
        offset += from.size();
        left -= from.size();
    }
    count_work(result.size() + 1);
    return result;
}

}  // namespace qv::classic_reader
