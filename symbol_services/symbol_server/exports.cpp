#include "symbol_services/symbol_server/exports.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <exception>
#include <new>
#include <string_view>

#include "symbol_services/symbol_server/code_page.h"
#include "symbol_services/symbol_server/service.h"
#include "text/path.h"

namespace {

using namespace qv::symbol_store;

using qv::text::longest_path;

// What a caller did wrong, on its way to the last error.
struct failure {
    DWORD error;
};

// The C boundary: runs `work` and turns whatever it throws into the last error.
template <class Work>
BOOL guard(Work&& work) noexcept {
    DWORD error = ERROR_SUCCESS;
    try {
        error = work();
    } catch (const failure& cause) {
        error = cause.error;
    } catch (const std::bad_alloc&) {
        error = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        error = ERROR_INTERNAL_ERROR;
    }
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

std::wstring take_text(PCWSTR text) {
    if (text == nullptr) throw failure{ERROR_INVALID_PARAMETER};
    const auto length = wcsnlen(text, longest_path + 1);
    if (length > longest_path) throw failure{ERROR_INVALID_PARAMETER};
    return {text, length};
}

std::wstring take_text(PCSTR text) {
    if (text == nullptr) throw failure{ERROR_INVALID_PARAMETER};
    const auto length = strnlen(text, longest_path + 1);
    if (length > longest_path) throw failure{ERROR_INVALID_PARAMETER};
    auto wide = from_code_page({text, length});
    if (!wide) throw failure{ERROR_NO_UNICODE_TRANSLATION};
    return std::move(*wide);
}

// Copies with the terminator, or throws and leaves the buffer alone.
template <class Char>
void copy_out(std::basic_string_view<Char> text, Char* buffer, std::size_t size) {
    if (text.size() >= size) throw failure{ERROR_INSUFFICIENT_BUFFER};
    *std::copy(text.begin(), text.end(), buffer) = Char();
}

void give_text(const std::wstring& text, PWSTR buffer, std::size_t size) {
    copy_out<wchar_t>(text, buffer, size);
}

void give_text(const std::wstring& text, PSTR buffer, std::size_t size) {
    const auto narrow = to_code_page(text);
    if (!narrow) throw failure{ERROR_NO_UNICODE_TRANSLATION};
    copy_out<char>(*narrow, buffer, size);
}

// Runs `search`, which answers a text or an error, and hands the text out.
template <class Char, class Search>
BOOL answer(Char* buffer, std::size_t size, Search&& search) noexcept {
    if (buffer != nullptr && size != 0) buffer[0] = Char();
    return guard([&] {
        if (buffer == nullptr) return DWORD{ERROR_INVALID_PARAMETER};
        const service::outcome<std::wstring> found = search();
        if (found.error == ERROR_SUCCESS) give_text(found.value, buffer, size);
        return found.error;
    });
}

constexpr std::size_t usual_size = service::usual_longest_path + 1;

// `size` is that of the buffer in characters.
template <class Char>
BOOL find_by_id(const Char* params, const Char* file_name, const void* id, DWORD two, DWORD three, Char* path,
                std::size_t size) noexcept {
    return answer(path, size, [&]() -> service::outcome<std::wstring> {
        if (size == 0) return {ERROR_INVALID_PARAMETER, {}};
        const auto search_string = take_text(params);
        const auto name = take_text(file_name);
        auto index = service::make_index(id, two, three);
        if (index.error != ERROR_SUCCESS) return index;
        return service::find(search_string, name, index.value, std::min(size - 1, longest_path));
    });
}

template <class Char>
BOOL find_by_index(const Char* params, const Char* file_name, const Char* index, Char* path) noexcept {
    return answer(path, usual_size, [&] {
        return service::find(take_text(params), take_text(file_name), take_text(index), service::usual_longest_path);
    });
}

template <class Char>
BOOL set_options(UINT_PTR options, ULONG64 data) noexcept {
    return guard([&] {
        std::wstring text;
        if (takes_text(options) && data != 0) text = take_text(as_pointer<const Char*>(data));
        return service::set_options(options, data, text);
    });
}

}  // namespace

BOOL WINAPI SymbolServer(PCSTR params, PCSTR file_name, PVOID id, DWORD two, DWORD three, PSTR path) {
    return find_by_id(params, file_name, id, two, three, path, usual_size);
}

BOOL WINAPI SymbolServerW(PCWSTR params, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR path) {
    return find_by_id(params, file_name, id, two, three, path, usual_size);
}

BOOL WINAPI QvSymbolServerW(PCWSTR params, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR path,
                            SIZE_T size) {
    return find_by_id(params, file_name, id, two, three, path, size);
}

BOOL WINAPI SymbolServerByIndex(PCSTR params, PCSTR file_name, PCSTR index, PSTR path) {
    return find_by_index(params, file_name, index, path);
}

BOOL WINAPI SymbolServerByIndexW(PCWSTR params, PCWSTR file_name, PCWSTR index, PWSTR path) {
    return find_by_index(params, file_name, index, path);
}

BOOL WINAPI SymbolServerGetIndexString(PVOID id, DWORD two, DWORD three, PSTR index, SIZE_T size) {
    return answer(index, size, [&] { return service::make_index(id, two, three); });
}

BOOL WINAPI SymbolServerGetIndexStringW(PVOID id, DWORD two, DWORD three, PWSTR index, SIZE_T size) {
    return answer(index, size, [&] { return service::make_index(id, two, three); });
}

BOOL WINAPI SymbolServerSetOptions(UINT_PTR options, ULONG64 data) {
    return set_options<char>(options, data);
}

BOOL WINAPI SymbolServerSetOptionsW(UINT_PTR options, ULONG64 data) {
    return set_options<wchar_t>(options, data);
}

UINT_PTR WINAPI SymbolServerGetOptions() {
    UINT_PTR options = 0;
    guard([&] {
        options = service::get_options();
        return DWORD{ERROR_SUCCESS};
    });
    return options;
}

BOOL WINAPI SymbolServerGetOptionData(UINT_PTR option, PULONG64 data) {
    return guard([&] {
        if (data == nullptr) return DWORD{ERROR_INVALID_PARAMETER};
        const auto value = service::get_option_value(option);
        if (!value) return DWORD{ERROR_NOT_SUPPORTED};
        *data = *value;
        return DWORD{ERROR_SUCCESS};
    });
}

BOOL WINAPI SymbolServerPing(PCSTR params) {
    return guard([&] { return service::ping(take_text(params)); });
}

BOOL WINAPI SymbolServerPingW(PCWSTR params) {
    return guard([&] { return service::ping(take_text(params)); });
}

BOOL WINAPI SymbolServerIsStore(PCSTR params) {
    return guard([&] { return service::is_store(take_text(params)); });
}

BOOL WINAPI SymbolServerIsStoreW(PCWSTR params) {
    return guard([&] { return service::is_store(take_text(params)); });
}

BOOL WINAPI SymbolServerClose() {
    return guard([] {
        service::close();
        return DWORD{ERROR_SUCCESS};
    });
}
