#include "symbol_services/symbol_server/service.h"

#include <dbghelp.h>

#include <boost/filesystem/path.hpp>
#include <cstring>
#include <mutex>
#include <vector>

#include "base/module_path.h"
#include "symbol_services/symbol_server/cabinet.h"
#include "symbol_services/symbol_server/code_page.h"
#include "symbol_services/symbol_server/lookup.h"
#include "symbol_services/symbol_server/path_rules.h"
#include "symbol_services/symbol_server/winhttp_transport.h"
#include "text/path.h"

namespace qv::symbol_store::service {
namespace {

constexpr std::chrono::seconds longest_search{300};

using callback_function = BOOL(CALLBACK*)(UINT_PTR action, ULONG64 data, ULONG64 context);

static_assert(option::callback == SSRVOPT_CALLBACK && option::id_is_dword == SSRVOPT_DWORD &&
              option::id_is_dword_pointer == SSRVOPT_DWORDPTR && option::id_is_guid_pointer == SSRVOPT_GUIDPTR &&
              option::id_is_old_guid_pointer == SSRVOPT_OLDGUIDPTR && option::unattended == SSRVOPT_UNATTENDED &&
              option::no_copy == SSRVOPT_NOCOPY && option::parent_window == SSRVOPT_PARENTWIN &&
              option::parameter_type == SSRVOPT_PARAMTYPE && option::trace == SSRVOPT_TRACE &&
              option::callback_context == SSRVOPT_SETCONTEXT && option::downstream_store == SSRVOPT_DOWNSTREAM_STORE &&
              option::reset == SSRVOPT_RESET);

struct shared_options {
    std::mutex mutex;
    option_values values;
};

shared_options& shared() {
    static shared_options instance;
    return instance;
}

option_values current_options() {
    auto& options = shared();
    const std::lock_guard lock(options.mutex);
    return options.values;
}

// The directory of this library, whoever loaded it.
std::wstring library_directory() {
    HMODULE library = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&library_directory), &library)) return {};
    return text::to_wide(text::to_path(module_path(library)).parent_path());
}

std::wstring default_store(const option_values& options) {
    return options.default_store().empty() ? library_directory() + L"\\sym" : options.default_store();
}

struct caller {
    callback_function function;
    std::uint64_t context;
    bool is_wide;
};

// None where no callback is set.
std::optional<caller> caller_of(const option_values& options) {
    const bool is_wide = options.is_on(option::wide_callback);
    const auto function = options.value(is_wide ? option::wide_callback : option::callback).value_or(0);
    if (function == 0) return std::nullopt;
    return caller{as_pointer<callback_function>(function), options.value(option::callback_context).value_or(0),
                  is_wide};
}

// A caller writes a value other than zero where it wants no more.
std::function<bool()> make_cancelled(const option_values& options) {
    const auto whom = caller_of(options);
    if (!whom) return {};
    return [=] {
        ULONG64 cancelled = 0;
        return whom->function(SSRVACTION_QUERYCANCEL, reinterpret_cast<ULONG64>(&cancelled), whom->context) &&
               cancelled != 0;
    };
}

std::function<void(const std::wstring&)> make_trace(const option_values& options) {
    const auto whom = caller_of(options);
    if (!whom || !options.is_on(option::trace)) return {};
    return [=](const std::wstring& line) {
        const auto narrow = whom->is_wide ? std::string() : to_readable_code_page(line);
        const auto text =
            whom->is_wide ? reinterpret_cast<ULONG64>(line.c_str()) : reinterpret_cast<ULONG64>(narrow.c_str());
        whom->function(SSRVACTION_TRACE, text, whom->context);
    };
}

// Stays when the process ends: nobody can say which thread still searches then.
http_stores& shared_http_stores() {
    static auto* const stores =
        new http_stores(winhttp_transport(), &expand_cabinet,
                        {.pause = [](std::chrono::milliseconds time) { Sleep(static_cast<DWORD>(time.count())); }});
    return *stores;
}

DWORD to_error(lookup_status status) {
    switch (status) {
        case lookup_status::unreachable: return ERROR_PATH_NOT_FOUND;
        case lookup_status::absent: return ERROR_FILE_NOT_FOUND;
        case lookup_status::too_long: return ERROR_INSUFFICIENT_BUFFER;
        case lookup_status::cancelled: return ERROR_CANCELLED;
        case lookup_status::found: break;
    }
    return ERROR_SUCCESS;
}

DWORD test_stores(const std::wstring& search_string, bool (store::*test)() const) {
    const auto empty_tier = default_store(current_options());
    for (const auto& element : parse_search_string(search_string, empty_tier))
        for (const auto& tier : element.tiers)
            if (const auto place = open_store(tier, &shared_http_stores()); place && ((*place).*test)())
                return ERROR_SUCCESS;
    return ERROR_PATH_NOT_FOUND;
}

template <class Value>
Value read_unaligned(const void* from) {
    Value value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

}  // namespace

DWORD set_options(UINT_PTR options, ULONG64 value, const std::wstring& text) {
    auto& all = shared();
    const std::lock_guard lock(all.mutex);
    switch (all.values.set(options, value, text)) {
        case set_outcome::done: return ERROR_SUCCESS;
        case set_outcome::unsupported: return ERROR_NOT_SUPPORTED;
        case set_outcome::misused: break;
    }
    return ERROR_INVALID_PARAMETER;
}

UINT_PTR get_options() {
    return current_options().bits();
}

std::optional<ULONG64> get_option_value(UINT_PTR option) {
    return current_options().value(option);
}

void close() {
    auto& options = shared();
    const std::lock_guard lock(options.mutex);
    options.values.forget_callback();
}

outcome<std::wstring> make_index(const void* id, DWORD second, DWORD third) {
    const auto kind = current_options().kind_of_id();
    if (kind == id_kind::dword) {
        const auto number = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(id));
        return {ERROR_SUCCESS, format_index(number, second, third)};
    }
    if (id == nullptr) return {ERROR_INVALID_PARAMETER, {}};
    if (kind == id_kind::dword_pointer)
        return {ERROR_SUCCESS, format_index(read_unaligned<std::uint32_t>(id), second, third)};
    return {ERROR_SUCCESS, format_index(read_unaligned<GUID>(id), second, third)};
}

outcome<std::wstring> find(const std::wstring& search_string, const std::wstring& name, const std::wstring& index,
                           std::size_t longest) {
    if (name.size() > longest_component || index.size() > longest_component) return {ERROR_FILENAME_EXCED_RANGE, {}};
    auto key = file_key::make(name, index);
    if (!key) return {ERROR_INVALID_PARAMETER, {}};

    const auto options = current_options();
    const request wanted = {std::move(*key), longest, make_trace(options), make_cancelled(options),
                            std::chrono::steady_clock::now() + longest_search};
    const auto copying = options.is_on(option::no_copy) ? copy_policy::never : copy_policy::into_caches;
    const auto empty_tier = default_store(options);
    const auto result =
        find_file(parse_search_string(search_string, empty_tier), wanted, copying, &shared_http_stores());
    return {to_error(result.status), text::to_wide(result.path)};
}

DWORD ping(const std::wstring& search_string) {
    return test_stores(search_string, &store::is_reachable);
}

DWORD is_store(const std::wstring& search_string) {
    return test_stores(search_string, &store::is_marked);
}

}  // namespace qv::symbol_store::service
