#include "symbol_services/symbol_server/options.h"

#include <bit>

namespace qv::symbol_store {
namespace {

using namespace option;

constexpr std::uint64_t id_options = id_is_dword | id_is_dword_pointer | id_is_guid_pointer | id_is_old_guid_pointer;
constexpr std::uint64_t switches = id_options | unattended | no_copy | trace;
constexpr std::uint64_t callbacks = callback | wide_callback | callback_context;
constexpr std::uint64_t supported = switches | callbacks | parent_window | parameter_type | downstream_store;

bool is_one_option(std::uint64_t options) {
    return std::has_single_bit(options);
}

}  // namespace

bool takes_text(std::uint64_t options) noexcept {
    return options == downstream_store;
}

set_outcome option_values::set(std::uint64_t options, std::uint64_t value, const std::wstring& text) {
    if (options == reset) {
        *this = {};
        return set_outcome::done;
    }
    if ((options & ~supported) != 0) return set_outcome::unsupported;
    if (options == parameter_type) {
        if (!is_one_option(value) || (value & ~id_options) != 0) return set_outcome::misused;
        return set(value, 1);
    }
    // A value that is a switch to one option and a pointer to another cannot be meant.
    if (options == 0 || ((options & ~switches) != 0 && !is_one_option(options))) return set_outcome::misused;
    if ((options & id_options) != 0) {
        if (!is_one_option(options & id_options)) return set_outcome::misused;
        if (value != 0) std::erase_if(values_, [](const auto& item) { return (item.first & id_options) != 0; });
    }
    if ((options & (callback | wide_callback)) != 0)
        std::erase_if(values_, [](const auto& item) { return (item.first & (callback | wide_callback)) != 0; });

    for (auto rest = options; rest != 0; rest &= rest - 1) {
        const auto single = rest & (~rest + 1);
        if (value == 0)
            values_.erase(single);
        else
            values_[single] = value;
    }
    if (takes_text(options)) default_store_ = text;
    return set_outcome::done;
}

void option_values::forget_callback() {
    std::erase_if(values_, [](const auto& item) { return (item.first & callbacks) != 0; });
}

std::uint64_t option_values::bits() const {
    std::uint64_t all = 0;
    for (const auto& [option, value] : values_) all |= option;
    return all;
}

std::optional<std::uint64_t> option_values::value(std::uint64_t option) const {
    if (!is_one_option(option) || (option & ~supported) != 0) return std::nullopt;
    if (option == parameter_type) return bits() & id_options;
    const auto found = values_.find(option);
    return found == values_.end() ? 0 : found->second;
}

id_kind option_values::kind_of_id() const {
    if (is_on(id_is_guid_pointer) || is_on(id_is_old_guid_pointer)) return id_kind::guid_pointer;
    return is_on(id_is_dword_pointer) ? id_kind::dword_pointer : id_kind::dword;
}

}  // namespace qv::symbol_store
