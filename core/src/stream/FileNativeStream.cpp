#include "core/src/stream/FileNativeStream.h"

#include "core/src/stream/FileNativeStream_source.h"
#include "core/src/stream/seek.h"
#include "qv/diagnostics/exception.h"

namespace qv {

FileNativeStream::~FileNativeStream() {
    Close();
}

bool FileNativeStream::IsOpen() const noexcept {
    return handle_ != no_handle;
}

void FileNativeStream::Seek(SeekOrigin origin, std::int64_t offset) {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Seek(const enum SeekOrigin,const __int64)",
                                     detail::file_native_stream_source};
    static constexpr detail::seek_faults faults{here, here, here};
    position_ = detail::seek_position(origin, offset, position_, GetSize(), faults);
}

void FileNativeStream::require_open(const char* function, unsigned line) const {
    if (!IsOpen()) throw_error("File is closed", function, detail::file_native_stream_source, line);
}

}  // namespace qv
