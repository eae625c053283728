#include "tests/support/pdb_writer/msf_writer.h"

#include <algorithm>
#include <string_view>

namespace qv::test {
namespace {

using namespace std::string_view_literals;

constexpr std::uint32_t first_free_page = 3;  // behind the superblock and two free-page maps

std::uint32_t pages_for(std::size_t size, std::uint32_t page_size) {
    return static_cast<std::uint32_t>((size + page_size - 1) / page_size);
}

// Hands out pages and keeps what is written on them.
class page_writer {
public:
    page_writer(std::uint32_t page_size, std::uint32_t pages, page_order order)
        : page_size_(page_size),
          pages_(pages),
          order_(order),
          file_(std::size_t{page_size} * (first_free_page + pages)) {}

    // The numbers of the pages that now hold the bytes.
    std::vector<std::uint32_t> write(const bytes& content) {
        std::vector<std::uint32_t> numbers;
        for (std::size_t at = 0; at < content.size(); at += page_size_) {
            const auto index = used_++;
            const auto number = first_free_page + (order_ == page_order::ascending ? index : pages_ - 1 - index);
            const auto count = std::min<std::size_t>(page_size_, content.size() - at);
            std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(at), count,
                        file_.begin() + static_cast<std::ptrdiff_t>(std::size_t{number} * page_size_));
            numbers.push_back(number);
        }
        return numbers;
    }

    bytes finish(const bytes& superblock) {
        std::copy(superblock.begin(), superblock.end(), file_.begin());
        return std::move(file_);
    }

private:
    std::uint32_t page_size_;
    std::uint32_t pages_;
    page_order order_;
    std::uint32_t used_ = 0;
    bytes file_;
};

bytes numbers_as_bytes(const std::vector<std::uint32_t>& numbers) {
    byte_writer out;
    for (const auto number : numbers) out.u32(number);
    return out.data();
}

}  // namespace

bytes write_msf(const msf_streams& streams, std::uint32_t page_size, page_order order) {
    std::uint32_t stream_pages = 0;
    for (const auto& stream : streams)
        if (stream) stream_pages += pages_for(stream->size(), page_size);
    const std::size_t directory_size = 4 + 4 * streams.size() + 4 * std::size_t{stream_pages};
    const auto directory_pages = pages_for(directory_size, page_size);
    const auto map_pages = pages_for(4 * std::size_t{directory_pages}, page_size);
    page_writer pages(page_size, stream_pages + directory_pages + map_pages, order);

    byte_writer directory;
    directory.u32(streams.size());
    for (const auto& stream : streams) directory.u32(stream ? stream->size() : 0xFFFFFFFF);
    for (const auto& stream : streams)
        if (stream) directory.append(numbers_as_bytes(pages.write(*stream)));
    const auto map = pages.write(numbers_as_bytes(pages.write(directory.data())));

    byte_writer superblock;
    superblock.text("Microsoft C/C++ MSF 7.00\r\n\x1A"sv).text("DS\0\0\0"sv);
    superblock.u32(page_size).u32(1).u32(first_free_page + stream_pages + directory_pages + map_pages);
    superblock.u32(directory_size).u32(0).append(numbers_as_bytes(map));
    return pages.finish(superblock.data());
}

}  // namespace qv::test
