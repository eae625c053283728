#include "core/src/stream/IWriteCoreStream.h"

#include "qv/diagnostics/exception.h"
#include "qv/text/utf.h"

namespace qv {

void IWriteCoreStream::WritePacked(const std::uint64_t& value) {
    static constexpr throw_site here{"void __cdecl IWriteCoreStream::WritePacked(const unsigned __int64 &)",
                                     "core/src/stream/IWriteCoreStream"};
    const auto put = [this](std::uint64_t byte) {
        const auto narrow = static_cast<unsigned char>(byte);
        Write(&narrow, 1);
    };
    if (value <= 0x7F) return put(value);
    if (value <= 0x3FFF) {
        put(0x80 | (value >> 8));
        return put(value & 0xFF);
    }
    if (value > 0x1FFFFFFF) throw_error("Too large value", {here, 104});
    put(0xC0 | (value >> 24));
    put((value >> 16) & 0xFF);
    put((value >> 8) & 0xFF);
    put(value & 0xFF);
}

void IWriteCoreStream::WriteString(std::wstring_view utf16) {
    WriteText(text::to_utf8(utf16));
}

void IWriteCoreStream::WriteText(std::string_view text) {
    WritePacked(text.size());
    Write(text.data(), text.size());
}

void IWriteCoreStream::WriteGuid(const GUID& value) {
    Write(&value, sizeof value);
}

}  // namespace qv
