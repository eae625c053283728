#include "qv/portable_executable/metadata_pdb_unpacker.h"

#include <gtest/gtest.h>

#include <boost/iostreams/filter/zlib.hpp>

#include "diagnostics/exception_test_support.h"
#include "tests/support/builders/pe_builder.h"

namespace qv::portable_executable {
namespace {

using test::byte_writer;
using test::bytes;
using test::message_of;

bytes unpack(const bytes& packed) {
    return unpack_metadata_pdb(packed.data(), packed.size());
}

bytes pack(std::uint32_t declared, const bytes& stream) {
    return byte_writer().text("MPDB").u32(declared).append(stream).data();
}

// Does not repeat, so that its packed form is not much shorter.
bytes noise(std::size_t size) {
    bytes data;
    std::uint32_t state = 1;
    while (data.size() < size) data.push_back(static_cast<unsigned char>((state = state * 1664525 + 1013904223) >> 24));
    return data;
}

TEST(UnpackMetadataPdb, RestoresWhatWasPacked) {
    for (const bytes& data : {bytes{}, bytes{1}, bytes(5'000'000, 7), noise(100'000)})
        EXPECT_EQ(unpack(byte_writer().append(test::pack_portable_pdb(data)).text("ignored").data()), data);
}

TEST(UnpackMetadataPdb, ExpansionBeyondAllReasonIsRefused) {
    constexpr std::size_t no_burden = 16u << 20;
    const auto unpacked = [](std::size_t noise_size, std::size_t size) {
        bytes data = noise(noise_size);
        data.resize(size);
        return message_of([&] { unpack(test::pack_portable_pdb(data)); });
    };
    EXPECT_EQ(unpacked(0, no_burden), "");
    EXPECT_EQ(unpacked(0, no_burden + 1), "Too large uncompressed portable PDB");
    EXPECT_EQ(unpacked(no_burden / 64, no_burden + 1), "");
}

TEST(UnpackMetadataPdb, HeaderMustTellTheTruth) {
    EXPECT_EQ(message_of([] { unpack(bytes(9)); }), "Invalid packed portable PDB size");
    EXPECT_EQ(message_of([] { unpack(bytes(10)); }), "Invalid packed portable PDB signature");
    const bytes stream = test::deflate(noise(10'000));
    for (const std::uint32_t declared : {0u, 9'999u, 10'001u, 0xFFFFFFFFu})
        EXPECT_EQ(message_of([&] { unpack(pack(declared, stream)); }), "Uncompressed buffer isn't the same as declared")
            << declared;
}

TEST(UnpackMetadataPdb, CorruptStreamsRaiseTheErrorOfTheLibrary) {
    bytes incomplete = test::deflate(noise(100));
    incomplete.resize(incomplete.size() / 2);
    const bytes zlib_header = byte_writer().u8(0x78).u8(0x9C).append(test::deflate(noise(100))).data();
    for (const bytes& stream : {incomplete, zlib_header, bytes(16, 0xFF)})
        EXPECT_THROW(unpack(pack(100, stream)), boost::iostreams::zlib_error);
}

}  // namespace
}  // namespace qv::portable_executable
