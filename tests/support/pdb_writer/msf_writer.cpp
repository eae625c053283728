#include "tests/support/pdb_writer/msf_writer.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace qv::test {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t first_free_page = 3;  // behind the superblock and two free-page maps

std::size_t pages_for(std::size_t size, std::size_t page_size) {
    return (size + page_size - 1) / page_size;
}

}  // namespace

bytes write_msf(const msf_streams& streams, std::uint32_t page_size, page_order order) {
    std::size_t stream_pages = 0;
    for (const auto& stream : streams)
        if (stream) stream_pages += pages_for(stream->size(), page_size);
    const std::size_t directory_size = 4 * (1 + streams.size() + stream_pages);
    const auto directory_pages = pages_for(directory_size, page_size);
    const auto pages = stream_pages + directory_pages + pages_for(4 * directory_pages, page_size);
    bytes file(page_size * (first_free_page + pages));

    // Gives the content the next pages and returns their numbers.
    std::size_t used = 0;
    const auto write = [&](const bytes& content) {
        byte_writer numbers;
        for (std::size_t at = 0; at < content.size(); at += page_size, ++used) {
            const auto number = first_free_page + (order == page_order::ascending ? used : pages - 1 - used);
            const auto size = std::min<std::size_t>(page_size, content.size() - at);
            std::memcpy(&file[number * page_size], &content[at], size);
            numbers.u32(number);
        }
        return numbers.data();
    };
    byte_writer directory;
    directory.u32(streams.size());
    for (const auto& stream : streams) directory.u32(stream ? stream->size() : 0xFFFFFFFF);
    for (const auto& stream : streams)
        if (stream) directory.append(write(*stream));

    byte_writer superblock;
    superblock.text("Microsoft C/C++ MSF 7.00\r\n\x1A"sv).text("DS\0\0\0"sv);
    superblock.u32(page_size).u32(1).u32(first_free_page + pages).u32(directory_size).u32(0);
    superblock.append(write(write(directory.data())));
    std::ranges::copy(superblock.data(), file.begin());
    return file;
}

}  // namespace qv::test
