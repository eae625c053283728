#include "core/stream/MemoryStreams.h"

#include <algorithm>
#include <cstring>

namespace qv {
namespace {

constexpr const char* memory_source = "core/src/Stream/MemoryStream";
constexpr const char* block_source = "core/src/Stream/MemoryBlockStream";

}  // namespace

void MemoryStream::Write(const void* source_bytes, std::uint64_t size) {
    const auto* const first = static_cast<const unsigned char*>(source_bytes);
    const std::uint64_t overwritten = std::min(size, bytes_.size() - position_);
    std::copy_n(first, overwritten, bytes_.data() + position_);
    bytes_.insert(bytes_.end(), first + overwritten, first + size);
    position_ += size;
}

void MemoryStream::Clear() noexcept {
    position_ = 0;
    bytes_.clear();
}

void MemoryStream::Read(void* destination, std::uint64_t size) {
    static constexpr throw_site here{"void __cdecl MemoryStream::Read(void *,const unsigned __int64)", memory_source};
    if (size == 0) return;
    if (size > bytes_.size() - position_) throw_error(no_data_message, {here, 72});
    std::memcpy(destination, bytes_.data() + position_, static_cast<std::size_t>(size));
    position_ += size;
}

void MemoryStream::Seek(SeekOrigin origin, std::int64_t offset) {
    static constexpr throw_site here{"void __cdecl MemoryStream::Seek(const enum SeekOrigin,const __int64)",
                                     memory_source};
    static constexpr detail::seek_faults faults{{here, 40}, {here, 44}, {here, 46}};
    position_ = detail::seek_position(origin, offset, position_, bytes_.size(), faults);
}

void MemoryBlockStream::Read(void* destination, std::uint64_t size) {
    static constexpr throw_site here{"void __cdecl MemoryBlockStream::Read(void *,const unsigned __int64)",
                                     block_source};
    if (size == 0) return;
    if (size > size_ - position_) throw_error(no_data_message, {here, 62});
    std::memcpy(destination, data_ + position_, static_cast<std::size_t>(size));
    position_ += size;
}

void MemoryBlockStream::Seek(SeekOrigin origin, std::int64_t offset) {
    static constexpr throw_site here{"void __cdecl MemoryBlockStream::Seek(const enum SeekOrigin,const __int64)",
                                     block_source};
    static constexpr detail::seek_faults faults{{here, 44}, {here, 48}, {here, 50}};
    position_ = detail::seek_position(origin, offset, position_, size_, faults);
}

}  // namespace qv
