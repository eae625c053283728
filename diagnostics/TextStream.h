// Formats log records: 8-bit text, keys and values, onto a byte sink.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/guid.h"

namespace qv::profiler::stream {

// Where the bytes go.
class TextSink {
public:
    virtual void write(const char* bytes, std::size_t count) = 0;

protected:
    ~TextSink() = default;
};

// Every operation returns the stream, so that calls chain. Not synchronised: the log holds its lock around a record.
class TextStream {
public:
    // The sink must outlive the stream. `indentation` is the number of TABs that begin a continuation line.
    explicit TextStream(TextSink& sink, std::uint64_t indentation = 1) noexcept;

    // 8-bit text; each byte 0x01 to 0x1F except TAB becomes 0x7F, so that no text can break a line. Null is written as
    // "<nullptr>".
    TextStream& text(const char* value);
    TextStream& character(char value);

    // A separating blank if the line has begun, then "name=". A null name is empty.
    TextStream& key(const char* name);

    // The value between apostrophes, kept as it is but for controls, which are replaced as in text() (here a NUL too).
    // UTF-16 is converted strictly and piece by piece: a name that the log shows is the name, and a long one takes no
    // memory. At a malformation it throws std::runtime_error with what precedes it written.
    TextStream& quoted(std::string_view utf8);
    TextStream& quoted(std::wstring_view utf16);

    // CR LF and the indentation: goes on with the same record. end_line ends it.
    TextStream& new_line();
    TextStream& end_line();

    // Numbers are formatted into a buffer of the widest value's size. Formatting that fails, or a width beyond that
    // size, throws qv::exception.

    // Fixed width, upper case, zero padded. Of the unsigned types, from char to long long.
    template <std::unsigned_integral Integer>
    TextStream& Hex(Integer value);

    // Decimal, padded with blanks on the left to the width. Of int and of the same types.
    template <std::integral Integer>
    TextStream& Dec(Integer value, int width = 0);

    // "{7d3be11c-9bd2-4ca7-a626-1c82b93935a9}"
    TextStream& guid(const GUID& value);

private:
    void write(std::string_view bytes);
    void write_substituting_controls(std::string_view bytes);

    TextSink& sink_;
    std::uint64_t indentation_;
    bool line_pending_ = false;
};

}  // namespace qv::profiler::stream
