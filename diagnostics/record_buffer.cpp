#include "diagnostics/record_buffer.h"

#include <algorithm>
#include <cstring>

namespace qv::log {

void record_buffer::start() noexcept {
    size_ = 0;
    spilled_ = 0;
    torn_ = false;
}

void record_buffer::write(const char* bytes, std::size_t count) {
    while (count != 0) {
        if (size_ == bytes_.size()) spill();
        const std::size_t part = std::min(count, bytes_.size() - size_);
        std::memcpy(bytes_.data() + size_, bytes, part);
        size_ += part;
        bytes += part;
        count -= part;
    }
}

bool record_buffer::end_record() noexcept {
    spill();
    const bool whole = !torn_;
    if (torn_) cut_torn_record();
    if (whole) spilled_ = 0;
    return whole;
}

void record_buffer::spill() noexcept {
    const std::size_t size = size_;
    size_ = 0;
    if (torn_) return;
    try {
        file_.Write(bytes_.data(), size);
        spilled_ += size;
    } catch (...) {
        torn_ = true;
    }
}

void record_buffer::cut_torn_record() noexcept {
    try {
        file_.Seek(SeekOrigin::Current, -static_cast<std::int64_t>(spilled_));
        spilled_ = 0;
        file_.Truncate();
        torn_ = false;
    } catch (...) {
        // The next record tries again.
    }
}

}  // namespace qv::log
