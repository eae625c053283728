#include "symbol_services/classic_reader/msf.h"

#include <gtest/gtest.h>

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <functional>
#include <string_view>

#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/failure_test_support.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/msf_writer.h"

namespace qv::classic_reader {
namespace {

using test::bytes;
using test::page_order;
using test::poke;
using test::write_msf;

// Superblock fields, and the directory of a file with 512-byte pages whose directory lies on its last page but one.
constexpr std::size_t page_size_field = 32;
constexpr std::size_t directory_size_field = 44;
constexpr std::size_t directory_map_field = 52;

std::unique_ptr<const byte_source> source(bytes file) {
    return std::make_unique<const memory_source>(std::move(file));
}

bytes numbered(std::size_t size) {
    bytes content(size);
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return content;
}

// The longest: 40,000 page numbers take 313 directory pages, and their list three pages.
TEST(Msf, StreamsAreReadThroughTheirPagesForEveryPageSize) {
    const std::pair<std::uint32_t, std::size_t> cases[] = {
        {512, 40'000 * 512}, {1024, 70'000}, {4096, 65'536}, {65536, 200'001}};
    for (const auto& [page_size, size] : cases)
        for (const auto order : {page_order::ascending, page_order::descending}) {
            SCOPED_TRACE(page_size);
            const auto content = numbered(size);
            const msf_file msf(source(write_msf({bytes(), content, std::nullopt, bytes{1, 2, 3}}, page_size, order)));
            ASSERT_EQ(msf.stream_count(), 4u);
            EXPECT_EQ(msf.stream(0).size(), 0u);
            EXPECT_EQ(msf.stream(1).bytes(), content);
            EXPECT_EQ(msf.stream(1).bytes(505, 65'000), bytes(content.begin() + 505, content.begin() + 65'505));
            EXPECT_FALSE(msf.has_stream(2));
            EXPECT_EQ(msf.stream(3).bytes(), (bytes{1, 2, 3}));
        }
}

TEST(Msf, TextEndsAtNulOrAtTheEnd) {
    auto content = bytes(70'000, 'x');
    content[65'600] = 0;
    const msf_file msf(source(write_msf({bytes(), content})));
    EXPECT_EQ(msf.stream(1).text(65'500, 1000), std::string(100, 'x'));
    EXPECT_EQ(msf.stream(1).text(69'960, 1000), std::string(40, 'x'));
    EXPECT_EQ(msf.stream(1).text(70'000, 10), "");
}

TEST(Msf, OtherFilesAreReportedAsWhatTheyAre) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"Microsoft C/C++ program database 2.00\r\n\x1AJG and so on", "PDB file of the format before 7.0, 806d000b"},
        {"BSJB and so on", "Portable PDB file, not a classic one, 806d000a"},
        {"MZ and so on", "Not a PDB file, 806d000c"},
        {"Microsoft C/C++ MSF 7.00\r\n\x1A", "Not a PDB file, 806d000c"},
        {"", "Not a PDB file, 806d000c"}};
    for (const auto& [begin, failure] : cases)
        EXPECT_EQ(failure_of([&, &file = begin] { msf_file(source({file.begin(), file.end()})); }), failure);
}

TEST(Msf, HostileContainersAreRefused) {
    const auto good = write_msf({bytes(), numbered(1500), bytes{1, 2, 3}});
    const auto directory = good.size() - 2 * 512;
    ASSERT_EQ(msf_file(source(good)).stream_count(), 3u);
    const auto field = [](std::size_t offset, std::uint64_t value) {
        return [=](bytes& file) { poke(file, offset, value, 4); };
    };
    constexpr const char* invalid_superblock = "Invalid PDB superblock, 806d000e";
    constexpr const char* unexpected_end = "Unexpected end of PDB data, 806d000e";
    const std::tuple<const char*, std::function<void(bytes&)>, const char*> cases[] = {
        {"page size is no power of two", field(page_size_field, 1000), invalid_superblock},
        {"page size of 0", field(page_size_field, 0), invalid_superblock},
        {"page size of 2 GB", field(page_size_field, 1u << 31), invalid_superblock},
        {"directory larger than the file", field(directory_size_field, good.size() + 1), invalid_superblock},
        {"empty directory", field(directory_size_field, 0), invalid_superblock},
        {"directory list outside the file", field(directory_map_field, 0xFFFFFFFF),
         "PDB page outside the file, 806d000e"},
        {"directory that is its own list", field(good.size() - 512, good.size() / 512 - 1), unexpected_end},
        {"more streams than sizes", field(directory, 0xFFFFFFFF), unexpected_end},
        {"stream larger than its pages", field(directory + 8, 0xFFFFFFFE), "Invalid PDB stream directory, 806d000e"},
        // Streams that share their pages could make a small file look like a huge one.
        {"streams larger than the file together",
         [&](bytes& file) {
             poke(file, directory_size_field, 512, 4);
             for (const auto stream : {2u, 3u}) poke(file, directory + 4 * stream, good.size(), 4);
         },
         "Invalid PDB stream directory, 806d000e"},
        {"cut off in the superblock", [](bytes& f) { f.resize(50); }, unexpected_end},
    };
    for (const auto& [name, change, failure] : cases) {
        auto file = good;
        change(file);
        EXPECT_EQ(failure_of([&] { msf_file{source(file)}; }), failure) << name;
    }
}

TEST(Msf, BrokenStreamFailsAlone) {
    auto file = write_msf({bytes(), numbered(1500), bytes{1, 2, 3}});
    const auto first_page_number = file.size() - 2 * 512 + 4 + 3 * 4;
    poke(file, first_page_number + 4, 5, 4);  // pages 3, 5 and 5
    EXPECT_EQ(msf_file(source(file)).stream(1).read_value<unsigned char>(512), numbered(1025).back());
    poke(file, first_page_number + 4, 0x00FFFFFF, 4);
    const msf_file msf(source(file));
    EXPECT_EQ(failure_of([&] { msf.stream(1).bytes(); }), "PDB page outside the file, 806d000e");
    EXPECT_EQ(msf.stream(1).bytes(0, 512), numbered(512));
    EXPECT_EQ(msf.stream(1).read_value<unsigned char>(1024), numbered(1025).back());
    EXPECT_EQ(msf.stream(2).bytes(), (bytes{1, 2, 3}));
    EXPECT_EQ(failure_of([&] { msf.stream(3); }), "PDB stream not found, 806d000e");
    for (const std::uint64_t count : {std::uint64_t{2}, ~std::uint64_t{0}})
        EXPECT_EQ(failure_of([&] { msf.stream(2).bytes(2, count); }), "Read beyond the end of a PDB stream, 806d000e");
}

// The file is sparse: only the pages that hold something take room. The last one is cut off.
TEST(Msf, PagesBeyondTwoGigabytesAreFound) {
    constexpr std::uint64_t far_page = 0x90000000 / 4096;
    const bytes content = numbered(4096);
    auto head = write_msf({bytes(), content}, 4096);
    const auto page_number = head.size() - 2 * 4096 + 4 + 2 * 4;
    poke(head, page_number, far_page, 4);

    const testing::temporary_directory directory;
    const auto path = directory.write("large.pdb", std::string(head.begin(), head.end()));
    boost::filesystem::resize_file(path, far_page * 4096);
    boost::filesystem::ofstream(path, std::ios::binary | std::ios::app)
        << std::string(content.begin(), content.end() - 96);
    const msf_file msf(open_disk_file(path));
    EXPECT_EQ(msf.stream(1).bytes(0, 4000), numbered(4000));
    EXPECT_NE(failure_of([&] { msf.stream(1).bytes(); }), "");
}

}  // namespace
}  // namespace qv::classic_reader
