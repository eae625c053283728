#include <windows.h>

#include <numeric>
#include <vector>

#include "symbol_services/classic_reader/lower_case.h"

namespace qv::classic_reader {
namespace {

void map_to_lower_case(const wchar_t* text, int size, wchar_t* mapped) {
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, text, size, mapped, size, nullptr, nullptr, 0);
}

// Of all characters of one unit, because asking for each costs a call.
std::vector<wchar_t> make_table() {
    std::vector<wchar_t> units(0x10000);
    std::iota(units.begin(), units.end(), wchar_t{0});
    auto table = units;
    map_to_lower_case(units.data(), static_cast<int>(units.size()), table.data());
    return table;
}

}  // namespace

char32_t lower_case(char32_t code_point) {
    static const auto table = make_table();
    if (code_point < table.size()) return table[code_point];
    const auto above = code_point - 0x10000;
    const wchar_t pair[] = {static_cast<wchar_t>(0xD800 | above >> 10), static_cast<wchar_t>(0xDC00 | (above & 0x3FF))};
    wchar_t mapped[] = {pair[0], pair[1]};
    map_to_lower_case(pair, 2, mapped);
    return 0x10000 + (static_cast<char32_t>(mapped[0] & 0x3FF) << 10 | (mapped[1] & 0x3FF));
}

}  // namespace qv::classic_reader
