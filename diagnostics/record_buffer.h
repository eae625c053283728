// Gathers the bytes of one log record, so that a record is normally one write and a killed process loses no finished
// one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/stream/FileNativeStream.h"
#include "diagnostics/TextStream.h"

namespace qv::log {

// A record longer than the buffer goes out in pieces. When the file does not take one, the rest of the record is
// dropped and the file is cut at the end of the record before it; until that has been done nothing is written, so that
// no record ever follows a torn one. Never throws. Not synchronised.
class record_buffer final : public profiler::stream::TextSink {
public:
    // The file must outlive the buffer.
    explicit record_buffer(FileNativeStream& file) noexcept : file_(file) {}

    // Forgets what was left of the file that was open before.
    void start() noexcept;

    void write(const char* bytes, std::size_t count) override;

    // Hands what is left of the record to the file; what follows is the next record. Answers whether the file has the
    // record.
    bool end_record() noexcept;

private:
    void spill() noexcept;
    void cut_torn_record() noexcept;

    FileNativeStream& file_;
    std::array<char, 65536> bytes_;
    std::size_t size_ = 0;
    std::uint64_t spilled_ = 0;  // bytes of this record that the file has taken
    bool torn_ = false;          // the file may hold part of a record at its end
};

}  // namespace qv::log
