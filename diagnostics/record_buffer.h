// Gathers the bytes of one log record, so that a record is normally one write and a killed process loses no finished
// one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/src/stream/CoreStreams.h"
#include "qv/diagnostics/TextStream.h"

namespace qv::log {

// A record longer than the buffer goes out in pieces. When the target fails, the rest of the record is dropped and the
// next record takes the place of what had gone out of it. Never throws. Not synchronised.
class record_buffer final : public profiler::stream::TextSink {
public:
    // The target must outlive the buffer.
    explicit record_buffer(IWriteSeekCoreStream& target) noexcept : target_(target) {}

    void write(const char* bytes, std::size_t count) override;

    // Hands what is left of the record to the target; what follows is the next record.
    void end_record() noexcept;

private:
    void spill() noexcept;

    IWriteSeekCoreStream& target_;
    std::array<char, 4096> bytes_;
    std::size_t size_ = 0;
    std::uint64_t spilled_ = 0;  // bytes of this record that the target has taken
    bool failed_ = false;
};

}  // namespace qv::log
