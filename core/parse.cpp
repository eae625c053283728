#include "core/parse.h"

#include <cerrno>
#include <cstdint>
#include <cwchar>
#include <limits>
#include <stdexcept>
#include <vector>

#include "base/exception.h"

namespace quorvex::common {
namespace {

constexpr const char* source = "sharedCommon/Native/Shared/include/quorvex/common/functional/parse";

bool has_minus_sign(const wchar_t* begin, const wchar_t* end) {
    for (; begin != end; ++begin)
        if (*begin == L'-') return true;
    return false;
}

// wcstoul with an unsigned long of 32 bits, wherever it runs; `end` receives the first character not consumed.
unsigned long to_unsigned_long(const wchar_t* text, const wchar_t*& end, int base) {
    end = text;
    wchar_t* stop = nullptr;
    const int saved = errno;
    errno = 0;
    const bool known_base = base == 0 || (base >= 2 && base <= 36);
    const unsigned long long wide = known_base ? std::wcstoull(text, &stop, base) : 0;
    const bool overflow = errno == ERANGE;
    errno = saved;
    if (stop == nullptr || stop == text) throw std::invalid_argument("invalid stoul argument");
    end = stop;
    // A minus sign negates in unsigned arithmetic, but it is the magnitude that has to fit.
    const unsigned long long magnitude = has_minus_sign(text, end) ? 0 - wide : wide;
    if (overflow || magnitude > std::numeric_limits<std::uint32_t>::max())
        throw std::out_of_range("stoul argument out of range");
    return static_cast<std::uint32_t>(wide);
}

// The parts between separators; there is always at least one.
std::vector<std::wstring> split(const std::wstring& text, wchar_t separator) {
    std::vector<std::wstring> parts(1);
    for (const wchar_t c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back().push_back(c);
    }
    return parts;
}

}  // namespace

template <>
unsigned short convert<unsigned short, unsigned long>(unsigned long value) {
    static constexpr qv::throw_site here{
        "unsigned short __cdecl quorvex::common::convert<unsigned short,unsigned long>(const unsigned long)", source};
    if (value > std::numeric_limits<unsigned short>::max()) qv::throw_error("Too large value", here);
    return static_cast<unsigned short>(value);
}

template <>
unsigned short parse_integer<unsigned short>(const std::wstring& text, int base) {
    static constexpr qv::throw_site here{
        "unsigned short __cdecl quorvex::common::parse_integer<unsigned short>(const class "
        "std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,const int)",
        source};
    const wchar_t* end = nullptr;
    const unsigned long value = to_unsigned_long(text.c_str(), end, base);
    if (end != text.c_str() + text.size()) qv::throw_error("Failed to parse value", here, qv::errtag_source_w{text});
    return convert<unsigned short, unsigned long>(value);
}

template <>
qv::version3<unsigned short> parse_version3<unsigned short, 3, 3>(const std::wstring& text) {
    static constexpr qv::throw_site here{
        "struct qv::version3<unsigned short> __cdecl quorvex::common::parse_version3<unsigned short,0x03,0x03>(const "
        "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &)",
        source};
    const auto parts = split(text, L'.');
    if (parts.size() < 3) qv::throw_error("Too less version components", here, qv::errtag_source_w{text});
    if (parts.size() > 3) qv::throw_error("Too many version components", here, qv::errtag_source_w{text});
    const auto build = parse_integer<unsigned short>(parts[2], 10);
    const auto minor = parse_integer<unsigned short>(parts[1], 10);
    const auto major = parse_integer<unsigned short>(parts[0], 10);
    return {major, minor, build};
}

}  // namespace quorvex::common
