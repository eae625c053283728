#include <gtest/gtest.h>

#include <future>

#include "core/src/bridges/packet_reader.h"
#include "core/src/bridges/packet_writer.h"
#include "core/src/stream/MemoryBlockStream.h"
#include "core/src/stream/MemoryStream.h"
#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using bytes = std::vector<unsigned char>;

bytes sent(unsigned char code, const bytes& payload) {
    MemoryStream stream;
    packet_writer(stream).send(code, payload.size(), payload.data());
    return stream.bytes();
}

TEST(PacketWriter, CodeLengthPayload) {
    EXPECT_EQ(sent(0x45, {}), (bytes{0x45, 0x00}));
    const bytes long_packet = sent(0x30, bytes(200, 0xAB));
    EXPECT_EQ(bytes(long_packet.begin(), long_packet.begin() + 4), (bytes{0x30, 0x80, 0xC8, 0xAB}));
    EXPECT_EQ(long_packet.size(), 203u);
}

TEST(PacketWriter, TooLargeSizeIsFoundAfterTheCode) {
    MemoryStream stream;
    packet_writer writer(stream);
    EXPECT_EQ(test::message_of([&] { writer.send(0x44, 0x20000000, nullptr); }), "Too large value");
    EXPECT_EQ(stream.bytes(), (bytes{0x44}));
    writer.send(0x45, 0, nullptr);  // and the writer is not left locked
    EXPECT_EQ(stream.bytes(), (bytes{0x44, 0x45, 0x00}));
}

TEST(PacketReader, TakesWholePacketsAndFailuresUnlockIt) {
    const bytes wire = {0x42, 0x02, 7, 8, 0xFF, 0x00, 0xFE, 0x00, 0x45, 0x01, 0x46, 0xE0, 0x47, 0x05, 1};
    MemoryBlockStream stream(wire);
    packet_reader reader(stream);
    bytes payload;
    EXPECT_EQ(reader.receive(&payload), 0x42);
    EXPECT_EQ(payload, (bytes{7, 8}));
    EXPECT_EQ(reader.receive(&payload), 0xFF);
    EXPECT_EQ(payload, bytes());
    EXPECT_EQ(reader.receive(nullptr), 0xFE);
    EXPECT_EQ(test::failure_of([&] { reader.receive(nullptr); }),
              (test::failure{"Unexpectable packet data",
                             "unsigned char __cdecl packet_reader::receive(class std::vector<unsigned char,class "
                             "std::allocator<unsigned char> > *)",
                             "core/src/bridges/packet_reader", 23}));
    EXPECT_EQ(stream.GetPosition(), 10u) << "the payload stays unread";
    EXPECT_EQ(test::message_of([&] { reader.receive(&payload); }), "Invalid counter encoding");
    EXPECT_EQ(test::message_of([&] { reader.receive(&payload); }), "No enought data to read");
}

TEST(Packets, OneWriterSharedByThreadsNeverInterleaves) {
    constexpr int threads = 4;
    constexpr int packets = 100;
    MemoryStream stream;
    packet_writer writer(stream);
    std::vector<std::future<void>> writers;
    for (int t = 0; t < threads; ++t)
        writers.push_back(std::async(std::launch::async, [&writer, t] {
            const bytes payload(static_cast<std::size_t>(130 + t), static_cast<unsigned char>(t));
            for (int i = 0; i < packets; ++i)
                writer.send(static_cast<unsigned char>(t), payload.size(), payload.data());
        }));
    for (auto& w : writers) w.get();

    MemoryBlockStream in(stream.bytes());
    packet_reader reader(in);
    bytes payload;
    for (int i = 0; i < threads * packets; ++i) {
        const unsigned char code = reader.receive(&payload);
        ASSERT_EQ(payload, bytes(130u + code, code));
    }
    EXPECT_EQ(in.GetPosition(), stream.bytes().size());
}

}  // namespace
