#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "core/src/stream/MemoryBlockStream.h"
#include "core/src/stream/MemoryStream.h"
#include "diagnostics/exception_test_support.h"

namespace {

using namespace qv;
using test::failure;
using test::failure_of;
using bytes = std::vector<unsigned char>;

constexpr std::int64_t smallest_offset = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest_offset = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t largest_size = std::numeric_limits<std::uint64_t>::max();

struct packed_form {
    std::uint64_t value;
    bytes wire;
};

const packed_form shortest_forms[] = {
    {0, {0x00}},
    {127, {0x7F}},
    {128, {0x80, 0x80}},
    {200, {0x80, 0xC8}},
    {16383, {0xBF, 0xFF}},
    {16384, {0xC0, 0x00, 0x40, 0x00}},
    {0x12345678, {0xD2, 0x34, 0x56, 0x78}},
    {0x1FFFFFFF, {0xDF, 0xFF, 0xFF, 0xFF}},
};

TEST(PackedInteger, ShortestFormGoesOutAndComesBack) {
    for (const auto& [value, wire] : shortest_forms) {
        MemoryStream out;
        out.WritePacked(value);
        EXPECT_EQ(out.bytes(), wire) << value;
        MemoryBlockStream in(wire);
        EXPECT_EQ(in.ReadPacked(), value);
        EXPECT_EQ(in.GetPosition(), wire.size());
    }
}

TEST(PackedInteger, ReaderAcceptsLongerFormsThanNeeded) {
    const packed_form forms[] = {{5, {0x80, 0x05}}, {5, {0xC0, 0, 0, 5}}, {0, {0x80, 0x00}}};
    for (const auto& [value, wire] : forms) EXPECT_EQ(MemoryBlockStream(wire).ReadPacked(), value);
}

TEST(PackedInteger, TooLargeValueWritesNothing) {
    MemoryStream out;
    const failure expected = {"Too large value", "void __cdecl IWriteCoreStream::WritePacked(const unsigned __int64 &)",
                              "core/src/stream/IWriteCoreStream", 104};
    EXPECT_EQ(failure_of([&] { out.WritePacked(0x20000000); }), expected);
    EXPECT_EQ(failure_of([&] { out.WritePacked(0x100000001); }), expected);
    EXPECT_THAT(out.bytes(), testing::IsEmpty());
}

TEST(PackedInteger, LeadBits111AreInvalid) {
    for (const unsigned char lead : bytes{0xE0, 0xF0, 0xFF}) {
        const bytes wire = {lead, 0, 0, 0, 0};
        EXPECT_EQ(failure_of([&] { MemoryBlockStream(wire).ReadPacked(); }),
                  (failure{"Invalid counter encoding", "unsigned __int64 __cdecl IReadCoreStream::ReadPacked(void)",
                           "core/src/stream/IReadCoreStream", 115}));
    }
}

TEST(PackedInteger, EachByteIsOneWrite) {
    struct counting : IWriteCoreStream {
        std::vector<std::uint64_t> sizes;
        void Write(const void*, std::uint64_t size) override { sizes.push_back(size); }
    } out;
    out.WritePacked(16384);
    EXPECT_THAT(out.sizes, testing::ElementsAre(1, 1, 1, 1));
}

TEST(PackedInteger, CutOffIsAnUnderrun) {
    for (const bytes& wire : {bytes{}, bytes{0x80}, bytes{0xC0, 0, 0}})
        EXPECT_EQ(test::message_of([&] { MemoryBlockStream(wire).ReadPacked(); }), "No enought data to read");
}

TEST(TypedValues, WireForms) {
    MemoryStream out;
    out.WriteString(L"");
    out.WriteString(L"a\x416");
    out.WriteGuid({0x7d3be11c, 0x9bd2, 0x4ca7, {0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9}});
    EXPECT_EQ(out.bytes(), (bytes{0x00, 0x03, 'a',  0xD0, 0x96, 0x1c, 0xe1, 0x3b, 0x7d, 0xd2, 0x9b,
                                  0xa7, 0x4c, 0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9}));
    MemoryBlockStream in(out.bytes());
    EXPECT_EQ(in.ReadString(), L"");
    EXPECT_EQ(in.ReadString(), L"a\x416");
    EXPECT_EQ(in.ReadGuid().Data4[7], 0xa9);
}

TEST(TypedValues, MalformedTextNamesTheFault) {
    const bytes wire = {0x01, 0xFF};
    EXPECT_EQ(test::message_of([&] { MemoryBlockStream(wire).ReadString(); }), "Invalid UTF8 master symbol");
    MemoryStream out;
    EXPECT_EQ(test::message_of([&] { out.WriteString(std::wstring(1, wchar_t(0xDC00))); }),
              "Unexpected UTF16 slave symbol at master position");
    EXPECT_THAT(out.bytes(), testing::IsEmpty());
}

TEST(TypedValues, LengthThatTheInputCannotBackFailsWithoutReservingIt) {
    const bytes wire = {0xDF, 0xFF, 0xFF, 0xFF, 'x'};
    MemoryBlockStream in(wire);
    std::string text;
    EXPECT_EQ(test::message_of([&] { read_block(in, in.ReadPacked(), text); }), "No enought data to read");
    EXPECT_LE(text.capacity(), 4u << 20);
}

TEST(TypedValues, LongBlockComesWhole) {
    bytes wire((5u << 20) / 2);
    for (std::size_t i = 0; i < wire.size(); ++i) wire[i] = static_cast<unsigned char>(i * 7 >> 3);
    MemoryBlockStream in(wire);
    bytes block = {1, 2, 3};
    read_block(in, wire.size(), block);
    EXPECT_TRUE(block == wire);
}

// The two memory streams share their rules; their texts differ.
struct seek_texts {
    const char* function;
    const char* source;
    unsigned lines[3];
};

void expect_seek_rules(ISeekStream& stream, std::uint64_t size, const seek_texts& texts) {
    const auto expected = [&](const char* message, int which) {
        return failure{message, texts.function, texts.source, texts.lines[which]};
    };
    stream.Seek(SeekOrigin::Begin, 2);
    const auto seek = [&](SeekOrigin origin, std::int64_t offset) {
        return failure_of([&] { stream.Seek(origin, offset); });
    };
    EXPECT_EQ(seek(static_cast<SeekOrigin>(3), 0), expected("Unknown origin", 0));
    EXPECT_EQ(seek(SeekOrigin::Begin, -1), expected("Negative offset", 1));
    EXPECT_EQ(seek(SeekOrigin::Current, -3), expected("Negative offset", 1));
    EXPECT_EQ(seek(SeekOrigin::End, smallest_offset), expected("Negative offset", 1));
    EXPECT_EQ(seek(SeekOrigin::End, 1), expected("Too large offset", 2));
    EXPECT_EQ(seek(SeekOrigin::Current, largest_offset), expected("Too large offset", 2));
    EXPECT_EQ(stream.GetPosition(), 2u);
    EXPECT_EQ(seek(SeekOrigin::Current, -2), failure{});
    EXPECT_EQ(stream.GetPosition(), 0u);
    EXPECT_EQ(seek(SeekOrigin::End, 0), failure{});
    EXPECT_EQ(stream.GetPosition(), size);
}

TEST(MemoryBlockStream, SeekRules) {
    const bytes block(4);
    MemoryBlockStream stream(block);
    expect_seek_rules(stream, 4,
                      {"void __cdecl MemoryBlockStream::Seek(const enum SeekOrigin,const __int64)",
                       "core/src/Stream/MemoryBlockStream",
                       {44, 48, 50}});
}

TEST(MemoryStream, SeekRulesThroughBothBases) {
    MemoryStream stream;
    stream.Write("abcd", 4);
    const seek_texts texts = {"void __cdecl MemoryStream::Seek(const enum SeekOrigin,const __int64)",
                              "core/src/Stream/MemoryStream",
                              {40, 44, 46}};
    expect_seek_rules(static_cast<IWriteSeekCoreStream&>(stream), 4, texts);
    expect_seek_rules(static_cast<IReadSeekCoreStream&>(stream), 4, texts);
}

void expect_read_rules(IReadSeekCoreStream& stream, const failure& underrun) {
    unsigned char buffer[4] = {'-', '-', '-', '-'};
    stream.Seek(SeekOrigin::End, 0);
    EXPECT_EQ(failure_of([&] { stream.Read(nullptr, 0); }), failure{});
    EXPECT_EQ(failure_of([&] { stream.Read(buffer, 1); }), underrun);
    stream.Seek(SeekOrigin::Begin, 1);
    EXPECT_EQ(failure_of([&] { stream.Read(buffer, 4); }), underrun);
    EXPECT_EQ(failure_of([&] { stream.Read(buffer, largest_size); }), underrun);
    EXPECT_EQ(stream.GetPosition(), 1u);
    EXPECT_THAT(buffer, testing::ElementsAre('-', '-', '-', '-'));
    stream.Read(buffer, 3);
    EXPECT_THAT(buffer, testing::ElementsAre('b', 'c', 'd', '-'));
    EXPECT_EQ(stream.GetPosition(), 4u);
}

TEST(MemoryBlockStream, ReadsExactlyOrNotAtAll) {
    const bytes block = {'a', 'b', 'c', 'd'};
    MemoryBlockStream stream(block);
    expect_read_rules(stream,
                      {"No enought data to read", "void __cdecl MemoryBlockStream::Read(void *,const unsigned __int64)",
                       "core/src/Stream/MemoryBlockStream", 62});
}

TEST(MemoryStream, ReadsExactlyOrNotAtAll) {
    MemoryStream stream;
    stream.Write("abcd", 4);
    expect_read_rules(stream,
                      {"No enought data to read", "void __cdecl MemoryStream::Read(void *,const unsigned __int64)",
                       "core/src/Stream/MemoryStream", 72});
}

TEST(MemoryStream, WriteAfterSeekBackOverwritesAndGrowsToTheEndOfTheWrite) {
    MemoryStream stream;
    stream.Write(nullptr, 0);
    stream.Write("abcd", 4);
    static_cast<IWriteSeekCoreStream&>(stream).Seek(SeekOrigin::Begin, 1);
    stream.Write("XY", 2);
    EXPECT_EQ(stream.bytes(), (bytes{'a', 'X', 'Y', 'd'}));
    stream.Write("123", 3);
    EXPECT_EQ(stream.bytes(), (bytes{'a', 'X', 'Y', '1', '2', '3'}));
}

}  // namespace
