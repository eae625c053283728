#include "diagnostics/TextStream.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "base/exception.h"
#include "text/display.h"
#include "text/utf.h"

namespace qv::profiler::stream {
namespace {

constexpr std::string_view new_line_text = "\r\n\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
constexpr std::size_t line_end_size = 2;
static_assert(new_line_text.size() == line_end_size + 16);

// How the values of a type are formatted, and how that fails.
struct form {
    const char* format;
    const char* failure;
    throw_site site;
};

template <class Integer>
constexpr form hex_form{};
template <class Integer>
constexpr form dec_form{};

#define QV_FORM(forms, type, format, failure, operation)                                                \
    template <>                                                                                         \
    constexpr form forms<type> {                                                                        \
        format, failure, {                                                                              \
            "class qv::profiler::stream::TextStream &__cdecl "                                          \
            "qv::profiler::stream::BaseTextStream<class qv::profiler::stream::TextStream>::" operation, \
                "core/src/stream/BaseTextStream"                                                        \
        }                                                                                               \
    }
QV_FORM(hex_form, unsigned char, "%02hX", "Failed to log hex char", "Hex(const unsigned char)");
QV_FORM(hex_form, unsigned short, "%04hX", "Failed to log hex unsigned short", "Hex(const unsigned short)");
QV_FORM(hex_form, unsigned int, "%08X", "Failed to log hex unsigned int", "Hex(const unsigned int)");
QV_FORM(hex_form, unsigned long, "%08lX", "Failed to log hex unsigned long int", "Hex(const unsigned long)");
QV_FORM(hex_form, unsigned long long, "%016llX", "Failed to log hex unsigned long long int",
        "Hex(const unsigned __int64)");
QV_FORM(dec_form, int, "%*d", "Failed to log dec int", "Dec(const int,const int)");
QV_FORM(dec_form, unsigned char, "%*hu", "Failed to log dec unsigned char", "Dec(const unsigned char,const int)");
QV_FORM(dec_form, unsigned short, "%*hu", "Failed to log dec unsigned short int",
        "Dec(const unsigned short,const int)");
QV_FORM(dec_form, unsigned int, "%*u", "Failed to log dec unsigned int", "Dec(const unsigned int,const int)");
QV_FORM(dec_form, unsigned long, "%*lu", "Failed to log dec unsigned long int", "Dec(const unsigned long,const int)");
QV_FORM(dec_form, unsigned long long, "%*llu", "Failed to log dec unsigned long long int",
        "Dec(const unsigned __int64,const int)");
#undef QV_FORM

// The buffer is as large as the widest value without padding.
template <std::size_t Size, class... Args>
TextStream& format(TextStream& out, const form& how, Args... args) {
    std::array<char, Size> text;
    const int length = std::snprintf(text.data(), text.size(), how.format, args...);
    if (length < 0 || static_cast<std::size_t>(length) >= text.size()) throw_error(how.failure, how.site);
    return out.text(text.data());
}

template <class Integer>
constexpr std::size_t hex_size = 2 * sizeof(Integer) + 1;

// digits10 counts the digits that any value may have; the widest has one more. Then a sign and the terminator.
template <class Integer>
constexpr std::size_t dec_size = std::numeric_limits<Integer>::digits10 + 1 +
                                 (std::numeric_limits<Integer>::is_signed ? 1 : 0) + 1;
template <>
constexpr std::size_t dec_size<unsigned char> = dec_size<unsigned short>;  // formatted as one

static_assert(dec_size<int> == 12 && hex_size<unsigned short> == 5);

// How many units to convert at once: a piece never ends inside a character.
std::size_t piece_size(std::wstring_view utf16) {
    constexpr std::size_t size = 256;
    if (utf16.size() <= size) return utf16.size();
    return text::is_high_surrogate(utf16[size - 1]) ? size + 1 : size;
}

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

template <std::unsigned_integral Integer>
TextStream& TextStream::Hex(Integer value) {
    return format<hex_size<Integer>>(*this, hex_form<Integer>, value);
}

template <std::integral Integer>
TextStream& TextStream::Dec(Integer value, int width) {
    constexpr auto size = static_cast<int>(dec_size<Integer>);
    // At once: the runtime would first count all the padding.
    if (width >= size || width <= -size) throw_error(dec_form<Integer>.failure, dec_form<Integer>.site);
    return format<dec_size<Integer>>(*this, dec_form<Integer>, width, value);
}

template TextStream& TextStream::Hex(unsigned char);
template TextStream& TextStream::Hex(unsigned short);
template TextStream& TextStream::Hex(unsigned int);
template TextStream& TextStream::Hex(unsigned long);
template TextStream& TextStream::Hex(unsigned long long);
template TextStream& TextStream::Dec(int, int);
template TextStream& TextStream::Dec(unsigned char, int);
template TextStream& TextStream::Dec(unsigned short, int);
template TextStream& TextStream::Dec(unsigned int, int);
template TextStream& TextStream::Dec(unsigned long, int);
template TextStream& TextStream::Dec(unsigned long long, int);

TextStream& TextStream::guid(const GUID& value) {
    return text(quorvex::common::to_string(value).c_str());
}

}  // namespace qv::profiler::stream
