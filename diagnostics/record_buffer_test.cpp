#include "diagnostics/record_buffer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "core/src/stream/MemoryStream.h"

namespace {

using qv::log::record_buffer;

// A file on a disk of limited size: a write that does not fit fails and leaves the position.
class small_disk : public qv::IWriteSeekCoreStream {
public:
    void Write(const void* source, std::uint64_t size) override {
        if (GetPosition() + size > capacity) throw std::runtime_error("full");
        ++writes;
        stream_.Write(source, size);
    }
    std::uint64_t GetPosition() const override { return stream_.GetPosition(); }
    void Seek(qv::SeekOrigin origin, std::int64_t offset) override {
        static_cast<qv::IWriteSeekCoreStream&>(stream_).Seek(origin, offset);
    }
    // What stands before the position.
    std::string text() const {
        const auto begin = stream_.bytes().begin();
        return {begin, begin + static_cast<std::ptrdiff_t>(GetPosition())};
    }

    std::uint64_t capacity = 1u << 20;
    int writes = 0;

private:
    qv::MemoryStream stream_;
};

void write(record_buffer& buffer, const std::string& text) {
    buffer.write(text.data(), text.size());
}

TEST(RecordBuffer, RecordIsOneWriteHoweverManyPieces) {
    small_disk disk;
    record_buffer buffer(disk);
    for (int i = 0; i < 100; ++i) write(buffer, "piece;");
    EXPECT_EQ(disk.writes, 0);
    buffer.end_record();
    EXPECT_EQ(disk.writes, 1);
    EXPECT_EQ(disk.text().size(), 600u);
}

TEST(RecordBuffer, LongRecordArrivesWholeAndInOrder) {
    small_disk disk;
    record_buffer buffer(disk);
    std::string expected;
    for (int i = 0; i < 3000; ++i) expected += std::to_string(i);
    write(buffer, expected.substr(0, 10));
    write(buffer, expected.substr(10));
    buffer.end_record();
    EXPECT_EQ(disk.text(), expected);
    EXPECT_EQ(disk.writes, static_cast<int>((expected.size() + 4095) / 4096));
}

TEST(RecordBuffer, RecordThatDoesNotFitIsLostWholeAndTheNextFollows) {
    small_disk disk;
    record_buffer buffer(disk);
    write(buffer, "first;");
    buffer.end_record();
    disk.capacity = 6000;
    write(buffer, std::string(10000, 'x'));
    buffer.end_record();
    EXPECT_EQ(disk.text(), "first;");
    write(buffer, "second;");
    buffer.end_record();
    EXPECT_EQ(disk.text(), "first;second;");
}

}  // namespace
