#include <locale.h>
#include <wctype.h>

#include "common/unique_hld.h"
#include "symbol_services/classic_reader/lower_case.h"

namespace qv::classic_reader {
namespace {

struct free_locale {
    void operator()(locale_t locale) const noexcept { ::freelocale(locale); }
};

constexpr char32_t capital_i_with_dot = 0x0130;

}  // namespace

char32_t lower_case(char32_t code_point) {
    // Its lower case is a matter of language, so Windows leaves it alone here.
    if (code_point == capital_i_with_dot) return code_point;
    static const unique_hld<locale_t, free_locale> unicode(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr));
    return unicode ? static_cast<char32_t>(::towlower_l(static_cast<wint_t>(code_point), unicode.get())) : code_point;
}

}  // namespace qv::classic_reader
