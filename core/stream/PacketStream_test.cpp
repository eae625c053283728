#include "core/stream/PacketStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "core/packets.h"
#include "core/stream/MemoryStreams.h"
#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using bytes = std::vector<unsigned char>;

// Gives out the parts of what a peer has sent one at a time, and tells every call.
struct script : IChannelStream {
    void Read(void* destination, std::uint64_t size) override { ReadSome(destination, size, size); }

    std::uint64_t ReadSome(void* destination, std::uint64_t least, std::uint64_t most) override {
        calls.push_back("read");
        std::uint64_t done = 0;
        for (auto* next = static_cast<unsigned char*>(destination); done < least;) {
            if (parts.empty()) throw_error("nothing comes");
            bytes& part = parts.front();
            const auto count = std::min<std::size_t>(part.size(), static_cast<std::size_t>(most - done));
            std::copy_n(part.begin(), count, next + done);
            done += count;
            part.erase(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(count));
            if (part.empty()) parts.erase(parts.begin());
        }
        return done;
    }

    void Write(const void* source, std::uint64_t size) override {
        const auto* const first = static_cast<const unsigned char*>(source);
        written.insert(written.end(), first, first + size);
        calls.push_back("write " + std::to_string(size));
        if (broken) throw_error("nobody reads");
    }

    std::vector<std::string> take_calls() { return std::exchange(calls, {}); }

    std::vector<bytes> parts;
    bytes written;
    std::vector<std::string> calls;
    bool broken = false;
};

bytes pattern(std::size_t size) {
    bytes result(size);
    std::iota(result.begin(), result.end(), static_cast<unsigned char>(1));
    return result;
}

class PacketStreamTest : public testing::Test {
protected:
    script channel_;
    PacketStream stream_{channel_};
    packet_reader reader_{stream_};
    packet_writer writer_{stream_};
};

TEST_F(PacketStreamTest, RequestsComeWholeHoweverTheyAreSplit) {
    const bytes sent = {0x42, 0x03, 1, 2, 3, 0x31, 0x80, 0x02, 4, 5, 0xFF, 0x00};
    for (std::size_t split = 0; split < sent.size(); ++split) {
        channel_.parts = {bytes(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(split)),
                          bytes(sent.begin() + static_cast<std::ptrdiff_t>(split), sent.end())};
        bytes payload;
        EXPECT_EQ(reader_.receive(&payload), 0x42) << split;
        EXPECT_EQ(payload, (bytes{1, 2, 3})) << split;
        EXPECT_EQ(reader_.receive(&payload), 0x31) << split;
        EXPECT_EQ(payload, (bytes{4, 5})) << split;
        EXPECT_EQ(reader_.receive(&payload), 0xFF) << split;
        EXPECT_FALSE(stream_.HasData());
        EXPECT_LE(channel_.take_calls().size(), 2u) << "one read for what has come";
    }
}

TEST_F(PacketStreamTest, LongRequestIsReadToItsPlaceAndNothingBeyondIt) {
    const bytes long_one = pattern(3 * PacketStream::most_received);
    channel_.parts = {bytes{0x30, 0xC0, 0x00, 0x30, 0x00}, long_one, bytes{0xFF, 0x00}};
    bytes payload;
    EXPECT_EQ(reader_.receive(&payload), 0x30);
    EXPECT_TRUE(payload == long_one);
    EXPECT_EQ(channel_.take_calls().size(), 2u);
    EXPECT_FALSE(stream_.HasData()) << "the next packet has not been asked for";
    EXPECT_EQ(reader_.receive(&payload), 0xFF);
}

TEST_F(PacketStreamTest, PacketLeavesAsSoonAsItIsWhole) {
    const struct {
        std::size_t payload;
        std::vector<std::string> calls;
    } cases[] = {{0, {"write 2"}},
                 {1, {"write 3"}},
                 {200, {"write 203"}},
                 {16381, {"write 16384"}},
                 {16382, {"write 16384", "write 1"}},
                 {40000, {"write 16384", "write 23621"}}};
    bytes expected;
    for (const auto& each : cases) {
        const bytes payload = pattern(each.payload);
        writer_.send(0x44, payload.size(), payload.data());
        EXPECT_EQ(channel_.take_calls(), each.calls);
        MemoryStream plain;
        packet_writer(plain).send(0x44, payload.size(), payload.data());
        expected.insert(expected.end(), plain.bytes().begin(), plain.bytes().end());
        EXPECT_TRUE(channel_.written == expected) << each.payload;
    }
}

TEST_F(PacketStreamTest, BeginningOfAPacketLeavesBeforeAWaitAndAtTheEnd) {
    EXPECT_THROW(writer_.send(0x44, 0x20000000, nullptr), exception);
    EXPECT_THAT(channel_.take_calls(), testing::IsEmpty());
    stream_.Flush();
    EXPECT_EQ(channel_.written, (bytes{0x44}));
    stream_.Write("\x45", 1);
    channel_.parts = {bytes{0xFF, 0x00}};
    EXPECT_EQ(reader_.receive(nullptr), 0xFF);
    EXPECT_EQ(channel_.written, (bytes{0x44, 0x45}));
}

TEST_F(PacketStreamTest, FailuresPassThroughAndNothingIsSentTwice) {
    channel_.broken = true;
    EXPECT_EQ(test::message_of([&] { writer_.send(0x44, 0, nullptr); }), "nobody reads");
    stream_.Flush();
    EXPECT_EQ(channel_.written, (bytes{0x44, 0x00}));
    EXPECT_EQ(test::message_of([&] { reader_.receive(nullptr); }), "nothing comes");
}

}  // namespace
