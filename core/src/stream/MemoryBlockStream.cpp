#include "core/src/stream/MemoryBlockStream.h"

#include <cstring>

#include "core/src/stream/seek.h"
#include "qv/diagnostics/exception.h"

namespace qv {
namespace {

constexpr const char* source = "core/src/Stream/MemoryBlockStream";

}  // namespace

void MemoryBlockStream::Read(void* destination, std::uint64_t size) {
    static constexpr throw_site here{"void __cdecl MemoryBlockStream::Read(void *,const unsigned __int64)", source};
    if (size == 0) return;
    if (size > size_ - position_) throw_error(no_data_message, {here, 62});
    std::memcpy(destination, data_ + position_, static_cast<std::size_t>(size));
    position_ += size;
}

void MemoryBlockStream::Seek(SeekOrigin origin, std::int64_t offset) {
    static constexpr throw_site here{"void __cdecl MemoryBlockStream::Seek(const enum SeekOrigin,const __int64)",
                                     source};
    static constexpr detail::seek_faults faults{{here, 44}, {here, 48}, {here, 50}};
    position_ = detail::seek_position(origin, offset, position_, size_, faults);
}

}  // namespace qv
