#include <gtest/gtest.h>

#include <thread>

#include "core/packets.h"
#include "core/stream/MemoryStreams.h"
#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using bytes = std::vector<unsigned char>;

TEST(PacketWriter, TooLargeSizeIsFoundAfterTheCode) {
    MemoryStream stream;
    packet_writer writer(stream);
    EXPECT_EQ(test::message_of([&] { writer.send(0x44, 0x20000000, nullptr); }), "Too large value");
    EXPECT_EQ(stream.bytes(), (bytes{0x44}));
    writer.send(0x45, 0, nullptr);  // and the writer is not left locked
    EXPECT_EQ(stream.bytes(), (bytes{0x44, 0x45, 0x00}));
}

TEST(PacketReader, FailuresUnlockIt) {
    const bytes wire = {0xFE, 0x00, 0x45, 0x01, 0x46, 0xE0, 0x47, 0x05, 1};
    MemoryBlockStream stream(wire);
    packet_reader reader(stream);
    EXPECT_EQ(reader.receive(nullptr), 0xFE);
    const test::failure failure = test::failure_of([&] { reader.receive(nullptr); });
    EXPECT_EQ(failure.message, "Unexpectable packet data");
    EXPECT_EQ(failure.source, "core/src/bridges/packet_reader");
    EXPECT_EQ(stream.GetPosition(), 4u) << "the payload stays unread";
    bytes payload;
    EXPECT_EQ(test::message_of([&] { reader.receive(&payload); }), "Invalid counter encoding");
    EXPECT_EQ(test::message_of([&] { reader.receive(&payload); }), "No enought data to read");
}

TEST(Packets, OneWriterSharedByThreadsNeverInterleaves) {
    MemoryStream stream;
    packet_writer writer(stream);
    const auto send = [&writer](unsigned char code) {
        const bytes payload(130u + code, code);
        for (int i = 0; i < 200; ++i) writer.send(code, payload.size(), payload.data());
    };
    std::thread other(send, static_cast<unsigned char>(1));
    send(2);
    other.join();
    MemoryBlockStream in(stream.bytes());
    packet_reader reader(in);
    bytes payload;
    for (int i = 0; i < 400; ++i) {
        const unsigned char code = reader.receive(&payload);
        ASSERT_EQ(payload, bytes(130u + code, code));
    }
}

}  // namespace
