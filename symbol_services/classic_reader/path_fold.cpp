#include "symbol_services/classic_reader/path_fold.h"

#ifdef _WIN32
#include <windows.h>

#include <numeric>
#include <vector>

#include "base/exception.h"
#else
#include <locale.h>
#include <wctype.h>

#include "base/holders.h"
#endif

#include <cstdint>

#include "base/work_counter.h"
#include "text/ascii.h"
#include "text/utf.h"

namespace qv::classic_reader {
namespace {

// lower_case() answers the character itself where it has no lower case. Its argument is a code point and no surrogate.
#ifdef _WIN32

void map_to_lower_case(const wchar_t* text, int size, wchar_t* mapped) {
    if (LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, text, size, mapped, size, nullptr, nullptr, 0) == 0)
        throw_win32_error("Can't map to lower case", GetLastError());
}

// Of all characters of one unit, because asking for each costs a call.
std::vector<wchar_t> make_table() {
    std::vector<wchar_t> units(0x10000);
    std::iota(units.begin(), units.end(), wchar_t{0});
    auto table = units;
    map_to_lower_case(units.data(), static_cast<int>(units.size()), table.data());
    return table;
}

char32_t lower_case(char32_t code_point) {
    static const auto table = make_table();
    if (code_point < table.size()) return table[code_point];
    const auto above = code_point - 0x10000;
    const wchar_t pair[] = {static_cast<wchar_t>(0xD800 | above >> 10), static_cast<wchar_t>(0xDC00 | (above & 0x3FF))};
    wchar_t mapped[] = {pair[0], pair[1]};
    map_to_lower_case(pair, 2, mapped);
    return text::combine_surrogates(mapped[0], mapped[1]);
}

#else

struct free_locale {
    void operator()(locale_t locale) const noexcept { ::freelocale(locale); }
};

constexpr char32_t capital_i_with_dot = 0x0130;

char32_t lower_case(char32_t code_point) {
    // Its lower case is a matter of language, so Windows leaves it alone here.
    if (code_point == capital_i_with_dot) return code_point;
    static const unique_hld<locale_t, free_locale> unicode(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr));
    return unicode ? static_cast<char32_t>(::towlower_l(static_cast<wint_t>(code_point), unicode.get())) : code_point;
}

#endif

constexpr char32_t first_of_length[] = {0, 0, 0x80, 0x800, 0x10000};

// Takes the character of several bytes off the front; 0, and nothing is taken, where there is none.
char32_t take_character(std::string_view& rest) {
    const auto lead = static_cast<unsigned char>(rest.front());
    const std::size_t length = lead >= 0xC0 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xF0 ? 4 : 0;
    if (length == 0 || lead >= 0xF8 || rest.size() < length) return 0;
    char32_t code_point = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(rest[i]);
        if ((next & 0xC0) != 0x80) return 0;
        code_point = code_point << 6 | (next & 0x3Fu);
    }
    if (code_point < first_of_length[length] || code_point > 0x10FFFF || text::is_surrogate(code_point)) return 0;
    rest.remove_prefix(length);
    return code_point;
}

}  // namespace

std::string fold_path(std::string_view path) {
    count_work(path.size());
    std::string folded;
    folded.reserve(path.size());
    while (!path.empty()) {
        const char c = path.front();
        if (const char32_t character = (c & 0x80) != 0 ? take_character(path) : 0; character != 0) {
            text::code_point_to_utf8(lower_case(character), folded);
            continue;
        }
        path.remove_prefix(1);
        folded += c == '/' ? '\\' : text::to_ascii_lower(c);
    }
    return folded;
}

}  // namespace qv::classic_reader
