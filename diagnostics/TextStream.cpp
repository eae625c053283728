#include "qv/diagnostics/TextStream.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "qv/diagnostics/exception.h"
#include "qv/text/display.h"
#include "qv/text/utf.h"

namespace qv::profiler::stream {
namespace {

constexpr std::string_view new_line_text = "\r\n\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
constexpr std::size_t line_end_size = 2;
static_assert(new_line_text.size() == line_end_size + 16);

// How one formatting operation fails.
struct failure {
    const char* message;
    const char* function;
    unsigned line;
};

[[noreturn]] void fail(const failure& failing) {
    throw_error(failing.message, failing.function, "core/src/stream/BaseTextStream", failing.line);
}

// The buffer is as large as the widest value without padding.
template <std::size_t Size, class... Args>
void format(TextStream& out, const failure& failing, const char* form, Args... args) {
    std::array<char, Size> text;
    const int length = std::snprintf(text.data(), text.size(), form, args...);
    if (length < 0 || static_cast<std::size_t>(length) >= text.size()) fail(failing);
    out.text(text.data());
}

// A width beyond the buffer fails at once: the runtime would first count all the padding.
template <std::size_t Size, class Integer>
void format_padded(TextStream& out, const failure& failing, const char* form, int width, Integer value) {
    constexpr int limit = static_cast<int>(Size);
    if (width >= limit || width <= -limit) fail(failing);
    format<Size>(out, failing, form, width, value);
}

template <class Integer>
constexpr std::size_t hex_size = 2 * sizeof(Integer) + 1;

// digits10 counts the digits that any value may have; the widest has one more. Then a sign and the terminator.
template <class Integer>
constexpr std::size_t dec_size = std::numeric_limits<Integer>::digits10 + 1 +
                                 (std::numeric_limits<Integer>::is_signed ? 1 : 0) + 1;

// How many units to convert at once: a piece never ends inside a character.
std::size_t piece_size(std::wstring_view utf16) {
    constexpr std::size_t size = 256;
    if (utf16.size() <= size) return utf16.size();
    const bool high_surrogate_is_last = (utf16[size - 1] & 0xFC00) == 0xD800;
    return high_surrogate_is_last ? size + 1 : size;
}

static_assert(dec_size<int> == 12 && hex_size<unsigned short> == 5);

}  // namespace

TextStream::TextStream(TextSink& sink, std::uint64_t indentation) noexcept : sink_(sink), indentation_(indentation) {}

void TextStream::write(std::string_view bytes) {
    if (bytes.empty()) return;
    sink_.write(bytes.data(), bytes.size());
    line_pending_ = true;
}

void TextStream::write_substituting_controls(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto control = std::find_if(bytes.begin(), bytes.end(), text::is_line_control);
        const auto run = static_cast<std::size_t>(control - bytes.begin());
        write(bytes.substr(0, run));
        bytes.remove_prefix(run);
        if (bytes.empty()) break;
        character(text::control_substitute);
        bytes.remove_prefix(1);
    }
}

TextStream& TextStream::text(const char* value) {
    write_substituting_controls(value != nullptr ? value : text::null_text);
    return *this;
}

TextStream& TextStream::character(char value) {
    write({&value, 1});
    return *this;
}

TextStream& TextStream::key(const char* name) {
    if (line_pending_) character(' ');
    return text(name != nullptr ? name : "").character('=');
}

TextStream& TextStream::quoted(std::string_view utf8) {
    character('\'');
    write_substituting_controls(utf8);
    return character('\'');
}

TextStream& TextStream::quoted(std::wstring_view utf16) {
    character('\'');
    std::string piece;
    while (!utf16.empty()) {
        const std::wstring_view units = utf16.substr(0, piece_size(utf16));
        piece.clear();
        try {
            text::utf16_to_utf8(units.data(), units.data() + units.size(), piece);
        } catch (const std::runtime_error&) {
            write_substituting_controls(piece);
            throw;
        }
        write_substituting_controls(piece);
        utf16.remove_prefix(units.size());
    }
    return character('\'');
}

TextStream& TextStream::new_line() {
    const auto size =
        std::min<std::uint64_t>(new_line_text.size(), std::min<std::uint64_t>(indentation_, 16) + line_end_size);
    sink_.write(new_line_text.data(), static_cast<std::size_t>(size));
    line_pending_ = false;
    return *this;
}

TextStream& TextStream::end_line() {
    sink_.write(new_line_text.data(), line_end_size);
    line_pending_ = false;
    return *this;
}

// The beginning of every signature below.
#define QV_TEXT_STREAM                                                                            \
    "class qv::profiler::stream::TextStream &__cdecl qv::profiler::stream::BaseTextStream<class " \
    "qv::profiler::stream::TextStream>::"

TextStream& TextStream::Hex(unsigned char value) {
    format<hex_size<unsigned char>>(
        *this, {"Failed to log hex char", QV_TEXT_STREAM "Hex(const unsigned char)", __LINE__}, "%02hX", value);
    return *this;
}

TextStream& TextStream::Hex(unsigned short value) {
    format<hex_size<unsigned short>>(
        *this, {"Failed to log hex unsigned short", QV_TEXT_STREAM "Hex(const unsigned short)", __LINE__}, "%04hX",
        value);
    return *this;
}

TextStream& TextStream::Hex(unsigned int value) {
    format<hex_size<unsigned int>>(
        *this, {"Failed to log hex unsigned int", QV_TEXT_STREAM "Hex(const unsigned int)", __LINE__}, "%08X", value);
    return *this;
}

TextStream& TextStream::Hex(unsigned long value) {
    format<hex_size<unsigned long>>(
        *this, {"Failed to log hex unsigned long int", QV_TEXT_STREAM "Hex(const unsigned long)", __LINE__}, "%08lX",
        value);
    return *this;
}

TextStream& TextStream::Hex(unsigned long long value) {
    format<hex_size<unsigned long long>>(
        *this, {"Failed to log hex unsigned long long int", QV_TEXT_STREAM "Hex(const unsigned __int64)", __LINE__},
        "%016llX", value);
    return *this;
}

TextStream& TextStream::Dec(int value, int width) {
    format_padded<dec_size<int>>(*this, {"Failed to log dec int", QV_TEXT_STREAM "Dec(const int,const int)", __LINE__},
                                 "%*d", width, value);
    return *this;
}

TextStream& TextStream::Dec(unsigned char value, int width) {
    format_padded<dec_size<unsigned short>>(
        *this, {"Failed to log dec unsigned char", QV_TEXT_STREAM "Dec(const unsigned char,const int)", __LINE__},
        "%*hu", width, static_cast<unsigned short>(value));
    return *this;
}

TextStream& TextStream::Dec(unsigned short value, int width) {
    format_padded<dec_size<unsigned short>>(
        *this, {"Failed to log dec unsigned short int", QV_TEXT_STREAM "Dec(const unsigned short,const int)", __LINE__},
        "%*hu", width, value);
    return *this;
}

TextStream& TextStream::Dec(unsigned int value, int width) {
    format_padded<dec_size<unsigned int>>(
        *this, {"Failed to log dec unsigned int", QV_TEXT_STREAM "Dec(const unsigned int,const int)", __LINE__}, "%*u",
        width, value);
    return *this;
}

TextStream& TextStream::Dec(unsigned long value, int width) {
    format_padded<dec_size<unsigned long>>(
        *this, {"Failed to log dec unsigned long int", QV_TEXT_STREAM "Dec(const unsigned long,const int)", __LINE__},
        "%*lu", width, value);
    return *this;
}

TextStream& TextStream::Dec(unsigned long long value, int width) {
    format_padded<dec_size<unsigned long long>>(
        *this,
        {"Failed to log dec unsigned long long int", QV_TEXT_STREAM "Dec(const unsigned __int64,const int)", __LINE__},
        "%*llu", width, value);
    return *this;
}

#undef QV_TEXT_STREAM

TextStream& TextStream::guid(const GUID& value) {
    return text(quorvex::common::to_string(value).c_str());
}

}  // namespace qv::profiler::stream
