#include "diagnostics/record_buffer.h"

#include <algorithm>
#include <cstring>

namespace qv::log {

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

void record_buffer::end_record() noexcept {
    spill();
    if (failed_ && spilled_ != 0) {
        try {
            target_.Seek(SeekOrigin::Current, -static_cast<std::int64_t>(spilled_));
        } catch (...) {
            // Then the torn record stays, followed by the next one.
        }
    }
    spilled_ = 0;
    failed_ = false;
}

void record_buffer::spill() noexcept {
    const std::size_t size = size_;
    size_ = 0;
    if (failed_) return;
    try {
        target_.Write(bytes_.data(), size);
        spilled_ += size;
    } catch (...) {
        failed_ = true;
    }
}

}  // namespace qv::log
