#include "diagnostics/hresult_table.h"

#include <algorithm>
#include <iterator>

namespace qv::detail {
namespace {

constexpr hresult_entry table[] = {
#include "hresult_table.inc"
};

constexpr bool before(const hresult_entry& left, const hresult_entry& right) {
    return left.code < right.code;
}

static_assert(std::adjacent_find(std::begin(table), std::end(table),
                                 [](const auto& left, const auto& right) { return !before(left, right); }) ==
                  std::end(table),
              "the table is searched by halves: its codes must rise");

}  // namespace

const hresult_entry* find_hresult(std::uint32_t code) noexcept {
    const auto* found =
        std::lower_bound(std::begin(table), std::end(table), hresult_entry{code, nullptr, nullptr}, before);
    return found != std::end(table) && found->code == code ? found : nullptr;
}

}  // namespace qv::detail
