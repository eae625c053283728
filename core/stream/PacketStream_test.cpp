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

// A peer that has sent some bytes and notes what it is given.
struct script : ICoreStream {
    void Read(void* destination, std::uint64_t size) override {
        if (size > sent.size()) throw_error("nothing comes");
        const auto end = sent.begin() + static_cast<std::ptrdiff_t>(size);
        std::copy(sent.begin(), end, static_cast<unsigned char*>(destination));
        sent.erase(sent.begin(), end);
    }

    void Write(const void* source, std::uint64_t size) override {
        const auto* const first = static_cast<const unsigned char*>(source);
        written.insert(written.end(), first, first + size);
        calls.push_back("write " + std::to_string(size));
        if (broken) throw_error("nobody reads");
    }

    std::vector<std::string> take_calls() { return std::exchange(calls, {}); }

    bytes sent;
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
    channel_.sent = {0xFF, 0x00};
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
