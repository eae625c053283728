#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "core/stream/MemoryStreams.h"
#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using bytes = std::vector<unsigned char>;

// "message source:line" of the failure, "" where there is none.
template <class Action>
std::string fault(Action&& action) {
    const test::failure failure = test::failure_of(action);
    return failure.line == 0 ? failure.message
                             : failure.message + " " + failure.source + ":" + std::to_string(failure.line);
}

TEST(PackedInteger, ShortestFormGoesOutAndComesBack) {
    const struct {
        std::uint64_t value;
        bytes wire;
    } forms[] = {
        {0, {0x00}},
        {127, {0x7F}},
        {128, {0x80, 0x80}},
        {16383, {0xBF, 0xFF}},
        {16384, {0xC0, 0x00, 0x40, 0x00}},
        {0x12345678, {0xD2, 0x34, 0x56, 0x78}},
        {0x1FFFFFFF, {0xDF, 0xFF, 0xFF, 0xFF}},
    };
    for (const auto& [value, wire] : forms) {
        MemoryStream out;
        out.WritePacked(value);
        EXPECT_EQ(out.bytes(), wire) << value;
        MemoryBlockStream in(wire);
        EXPECT_EQ(in.ReadPacked(), value);
        EXPECT_EQ(in.GetPosition(), wire.size());
    }
    EXPECT_EQ(MemoryBlockStream(bytes{0x80, 0x05}).ReadPacked(), 5u) << "longer forms are accepted";
    EXPECT_EQ(MemoryBlockStream(bytes{0xC0, 0, 0, 5}).ReadPacked(), 5u);
}

TEST(PackedInteger, FaultsAreNamed) {
    MemoryStream out;
    for (const std::uint64_t value : {0x20000000ull, 0x100000001ull})
        EXPECT_EQ(fault([&] { out.WritePacked(value); }), "Too large value core/src/stream/IWriteCoreStream:104");
    EXPECT_THAT(out.bytes(), testing::IsEmpty());
    const auto fault_in = [](const bytes& wire) {
        return test::message_of([&] { MemoryBlockStream(wire).ReadPacked(); });
    };
    for (const bytes& wire : {bytes{0xE0, 0, 0, 0}, bytes{0xFF, 0, 0, 0}})
        EXPECT_EQ(fault_in(wire), "Invalid counter encoding");
    for (const bytes& wire : {bytes{}, bytes{0x80}, bytes{0xC0, 0, 0}})
        EXPECT_EQ(fault_in(wire), "No enought data to read");
}

TEST(TypedValues, WireForms) {
    MemoryStream out;
    out.WriteString(L"");
    out.WriteString(L"a\x416");
    out.WriteGuid({0x7d3be11c, 0x9bd2, 0x4ca7, {0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9}});
    EXPECT_EQ(out.bytes(), (bytes{0x00, 0x03, 'a',  0xD0, 0x96, 0x1c, 0xe1, 0x3b, 0x7d, 0xd2, 0x9b,
                                  0xa7, 0x4c, 0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9}));
}

TEST(TypedValues, LongBlockComesWholeAndOneThatIsNotThereReservesNothing) {
    bytes wire((5u << 20) / 2);
    for (std::size_t i = 0; i < wire.size(); ++i) wire[i] = static_cast<unsigned char>(i * 7 >> 3);
    MemoryBlockStream in(wire);
    bytes block = {1, 2, 3};
    read_block(in, wire.size(), block);
    EXPECT_TRUE(block == wire);
    std::string text;
    MemoryBlockStream short_one(wire);
    EXPECT_EQ(test::message_of([&] { read_block(short_one, 0x1FFFFFFF, text); }), "No enought data to read");
    EXPECT_LE(text.capacity(), 8u << 20);
}

// The two memory streams share their rules; `lines` are those of the places that name a fault of a seek, and of a read.
void expect_rules(IReadCoreStream& reader, ISeekStream& stream, const std::string& source, const int (&lines)[4]) {
    constexpr auto far = std::numeric_limits<std::int64_t>::max();
    const auto place = [&](const char* message, int which) {
        return std::string(message) + " " + source + ":" + std::to_string(lines[which]);
    };
    const auto seek = [&](SeekOrigin origin, std::int64_t offset) {
        return fault([&] { stream.Seek(origin, offset); });
    };
    EXPECT_EQ(seek(SeekOrigin::Begin, 2), "");
    EXPECT_EQ(seek(static_cast<SeekOrigin>(3), 0), place("Unknown origin", 0));
    EXPECT_EQ(seek(SeekOrigin::Current, -3), place("Negative offset", 1));
    EXPECT_EQ(seek(SeekOrigin::End, -far - 1), place("Negative offset", 1));
    EXPECT_EQ(seek(SeekOrigin::End, 1), place("Too large offset", 2));
    EXPECT_EQ(seek(SeekOrigin::Current, far), place("Too large offset", 2));
    EXPECT_EQ(stream.GetPosition(), 2u);
    EXPECT_EQ(seek(SeekOrigin::Current, -1), "");

    unsigned char buffer[4] = {'-', '-', '-', '-'};
    for (const std::uint64_t size : {std::uint64_t{4}, std::numeric_limits<std::uint64_t>::max()})
        EXPECT_EQ(fault([&] { reader.Read(buffer, size); }), place("No enought data to read", 3));
    EXPECT_EQ(stream.GetPosition(), 1u);
    EXPECT_THAT(buffer, testing::ElementsAre('-', '-', '-', '-'));
    reader.Read(buffer, 3);
    reader.Read(nullptr, 0);
    EXPECT_THAT(buffer, testing::ElementsAre('b', 'c', 'd', '-'));
    EXPECT_EQ(seek(SeekOrigin::End, 0), "");
    EXPECT_EQ(stream.GetPosition(), 4u);
}

TEST(MemoryStreams, ReadAndSeekByTheSameRules) {
    const bytes content = {'a', 'b', 'c', 'd'};
    MemoryBlockStream block(content);
    expect_rules(block, block, "core/src/Stream/MemoryBlockStream", {44, 48, 50, 62});
    MemoryStream stream;
    stream.Write("abcd", 4);
    expect_rules(stream, static_cast<IWriteSeekCoreStream&>(stream), "core/src/Stream/MemoryStream", {40, 44, 46, 72});
    expect_rules(stream, static_cast<IReadSeekCoreStream&>(stream), "core/src/Stream/MemoryStream", {40, 44, 46, 72});
    // Writing overwrites, and grows the stream to the end of the write.
    static_cast<IWriteSeekCoreStream&>(stream).Seek(SeekOrigin::Begin, 1);
    stream.Write("XY", 2);
    EXPECT_EQ(stream.bytes(), (bytes{'a', 'X', 'Y', 'd'}));
    stream.Write("123", 3);
    EXPECT_EQ(stream.bytes(), (bytes{'a', 'X', 'Y', '1', '2', '3'}));
}

}  // namespace
