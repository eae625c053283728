#include "symbol_services/classic_reader/msf.h"

#include <gtest/gtest.h>

#include <boost/filesystem/fstream.hpp>
#include <functional>
#include <string_view>

#include "symbol_services/classic_reader/disk_file.h"
#include "symbol_services/classic_reader/failure_test_support.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/msf_writer.h"

namespace qv::classic_reader {
namespace {

using test::byte_writer;
using test::bytes;
using test::page_order;
using test::poke;
using test::write_msf;

// Superblock fields, and the directory of a file with 512-byte pages whose directory lies on its last page but one.
constexpr std::size_t page_size_field = 32;
constexpr std::size_t directory_size_field = 44;
constexpr std::size_t directory_map_field = 52;

std::unique_ptr<const byte_source> source(const bytes& file) {
    return std::make_unique<const memory_source>(file);
}

bytes numbered(std::size_t size) {
    bytes content(size);
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return content;
}

TEST(Msf, StreamsAreReadThroughTheirPagesForEveryPageSize) {
    const auto content = numbered(20'000);
    for (const std::uint32_t page_size : {512u, 1024u, 2048u, 4096u, 8192u, 65536u})
        for (const auto order : {page_order::ascending, page_order::descending}) {
            SCOPED_TRACE(page_size);
            const auto file = write_msf({bytes(), content, std::nullopt, bytes{1, 2, 3}}, page_size, order);
            const msf_file msf(source(file));
            ASSERT_EQ(msf.stream_count(), 4u);
            EXPECT_EQ(msf.stream(0).size(), 0u);
            EXPECT_EQ(msf.stream(1).bytes(), content);
            EXPECT_EQ(msf.stream(1).bytes(505, 4200), bytes(content.begin() + 505, content.begin() + 4705));
            EXPECT_FALSE(msf.has_stream(2));
            EXPECT_EQ(msf.stream(3).bytes(), (bytes{1, 2, 3}));
        }
}

// 40,000 page numbers take 313 directory pages, and their list three pages.
TEST(Msf, DirectoryAndItsListMayTakeManyPages) {
    const auto content = numbered(40'000 * 512);
    const auto file = write_msf({bytes(), content}, 512, page_order::descending);
    const msf_file msf(source(file));
    EXPECT_EQ(msf.stream(1).bytes(), content);
}

TEST(Msf, TextEndsAtNulOrAtTheEnd) {
    auto content = bytes(600, 'x');
    content[550] = 0;
    const auto file = write_msf({bytes(), content});
    const msf_file msf(source(file));
    EXPECT_EQ(msf.stream(1).text(500, 1000), std::string(50, 'x'));
    EXPECT_EQ(msf.stream(1).text(560, 1000), std::string(40, 'x'));
    EXPECT_EQ(msf.stream(1).text(0, 10), std::string(10, 'x'));
    EXPECT_EQ(msf.stream(1).text(600, 10), "");
}

TEST(Msf, OtherFilesAreReportedAsWhatTheyAre) {
    const auto failure = [](std::string_view begin) {
        return failure_of([&] {
            const bytes file(begin.begin(), begin.end());
            msf_file{source(file)};
        });
    };
    EXPECT_EQ(failure("Microsoft C/C++ program database 2.00\r\n\x1AJG and so on"),
              "PDB file of the format before 7.0, 806d000b");
    EXPECT_EQ(failure("BSJB and so on"), "Portable PDB file, not a classic one, 806d000a");
    EXPECT_EQ(failure("MZ and so on"), "Not a PDB file, 806d000c");
    EXPECT_EQ(failure("Microsoft C/C++ MSF 7.00\r\n\x1A"), "Not a PDB file, 806d000c");
    EXPECT_EQ(failure(""), "Not a PDB file, 806d000c");
}

TEST(Msf, HostileContainersAreRefused) {
    const auto good = write_msf({bytes(), numbered(1500), bytes{1, 2, 3}});
    const auto directory = good.size() - 2 * 512;
    ASSERT_EQ(msf_file(source(good)).stream_count(), 3u);
    const struct {
        const char* name;
        std::function<void(bytes&)> change;
        const char* failure;
    } cases[] = {
        {"page size is no power of two", [](bytes& f) { poke(f, page_size_field, 1000, 4); },
         "Invalid PDB superblock, 806d000e"},
        {"page size of 0", [](bytes& f) { poke(f, page_size_field, 0, 4); }, "Invalid PDB superblock, 806d000e"},
        {"page size of 2 GB", [](bytes& f) { poke(f, page_size_field, 1u << 31, 4); },
         "Invalid PDB superblock, 806d000e"},
        {"directory larger than the file", [](bytes& f) { poke(f, directory_size_field, f.size() + 1, 4); },
         "Invalid PDB superblock, 806d000e"},
        {"empty directory", [](bytes& f) { poke(f, directory_size_field, 0, 4); }, "Invalid PDB superblock, 806d000e"},
        {"directory list outside the file", [](bytes& f) { poke(f, directory_map_field, 0xFFFFFFFF, 4); },
         "PDB page outside the file, 806d000e"},
        {"directory that is its own list", [&](bytes& f) { poke(f, f.size() - 512, f.size() / 512 - 1, 4); },
         "Unexpected end of PDB data, 806d000e"},
        {"more streams than sizes", [&](bytes& f) { poke(f, directory, 0xFFFFFFFF, 4); },
         "Unexpected end of PDB data, 806d000e"},
        {"stream larger than its pages", [&](bytes& f) { poke(f, directory + 8, 0xFFFFFFFE, 4); },
         "Invalid PDB stream directory, 806d000e"},
        {"cut off in the superblock", [](bytes& f) { f.resize(50); }, "Unexpected end of PDB data, 806d000e"},
    };
    for (const auto& [name, change, failure] : cases) {
        SCOPED_TRACE(name);
        auto file = good;
        change(file);
        EXPECT_EQ(failure_of([&] { msf_file{source(file)}; }), failure);
    }
}

TEST(Msf, BrokenStreamFailsAlone) {
    auto file = write_msf({bytes(), numbered(1500), bytes{1, 2, 3}});
    const auto first_page_number = file.size() - 2 * 512 + 4 + 3 * 4;
    poke(file, first_page_number + 4, 0x00FFFFFF, 4);
    const msf_file msf(source(file));
    EXPECT_EQ(failure_of([&] { msf.stream(1).bytes(); }), "PDB page outside the file, 806d000e");
    EXPECT_EQ(msf.stream(1).bytes(0, 512), bytes(numbered(512)));
    EXPECT_EQ(msf.stream(2).bytes(), (bytes{1, 2, 3}));
    EXPECT_EQ(failure_of([&] { msf.stream(3); }), "PDB stream not found, 806d000e");
    EXPECT_EQ(failure_of([&] { msf.stream(2).bytes(2, 2); }), "Read beyond the end of a PDB stream, 806d000e");
    EXPECT_EQ(failure_of([&] { msf.stream(2).bytes(2, ~std::uint64_t{0}); }),
              "Read beyond the end of a PDB stream, 806d000e");
}

// Streams that share their pages could make a small file look like a huge one.
TEST(Msf, StreamsLargerThanTheFileTogetherAreRefused) {
    constexpr std::size_t streams = 100;
    byte_writer directory;
    directory.u32(streams);
    for (std::size_t i = 0; i < streams; ++i) directory.u32(512);
    for (std::size_t i = 0; i < streams; ++i) directory.u32(0);
    // Written as a stream, it lies on pages 3 and 4, and the superblock is made to say so.
    auto file = write_msf({directory.data()});
    const auto list = file.size() - 512;
    poke(file, list, 3, 4);
    poke(file, list + 4, 4, 4);
    poke(file, directory_size_field, directory.size(), 4);
    EXPECT_EQ(failure_of([&] { msf_file{source(file)}; }), "Invalid PDB stream directory, 806d000e");
}

// The file is sparse: only the pages that hold something take room.
TEST(Msf, PagesBeyondTwoGigabytesAreFound) {
    constexpr std::uint64_t far_page = 0x90000000 / 4096;
    const bytes content = numbered(4096);
    auto head = write_msf({bytes(), content}, 4096);
    const auto page_number = head.size() - 2 * 4096 + 4 + 2 * 4;
    poke(head, page_number, far_page, 4);

    const testing::temporary_directory directory;
    const auto path = directory.write("large.pdb", std::string(head.begin(), head.end()));
    {
        boost::filesystem::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(far_page * 4096));
        file.write(reinterpret_cast<const char*>(content.data()), 4096);
        ASSERT_TRUE(file.flush());
    }
    const msf_file msf(open_disk_file(path));
    EXPECT_EQ(msf.stream(1).bytes(), content);
}

}  // namespace
}  // namespace qv::classic_reader
