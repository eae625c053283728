#include "symbol_services/qv_symbols/registration.h"

#include <objbase.h>
#include <olectl.h>

#include <exception>
#include <iterator>
#include <optional>
#include <vector>

#include "base/exception.h"
#include "base/holders.h"
#include "common/com/runtime_interfaces.h"
#include "common/com/symbol_interfaces.h"
#include "common/sdk_helpers.h"
#include "symbol_services/qv_symbols/com_object.h"
#include "text/path.h"

namespace qv::symbols {
namespace {

struct registered_class {
    const GUID& id;
    const wchar_t* description;
};

constexpr registered_class classes[] = {
    {com::clsid_symbol_binder, L"Symbol binder for classic PDB files"},
    {com::clsid_metadata_dispenser, L"Metadata dispenser for reading"},
};

// Holds what an entry said before this library took its place.
constexpr const wchar_t* replaced_value = L"ReplacedServer";

struct deleter_RegCloseKey {
    void operator()(HKEY key) const noexcept { RegCloseKey(key); }
};
using key_hld = unique_hld<HKEY, deleter_RegCloseKey>;

std::wstring key_of(const GUID& id) {
    wchar_t text[39] = {};
    StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    return std::wstring(L"CLSID\\") + text;
}

std::wstring server_key_of(const GUID& id) {
    return key_of(id) + L"\\InprocServer32";
}

void check(LSTATUS result) {
    if (result != ERROR_SUCCESS) throw_win32_error("Can't change the registry", static_cast<DWORD>(result));
}

bool is_absent(LSTATUS result) {
    return result == ERROR_FILE_NOT_FOUND || result == ERROR_PATH_NOT_FOUND || result == ERROR_UNSUPPORTED_TYPE;
}

// None where there is none. A failure is not taken for that: what is there would be lost.
std::optional<std::wstring> read_text(HKEY root, const std::wstring& key, const wchar_t* name) {
    DWORD size = 0;
    const LSTATUS result = RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, nullptr, &size);
    if (is_absent(result)) return std::nullopt;
    check(result);
    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    check(RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(), &size));
    text.resize(wcsnlen(text.data(), text.size()));
    return text;
}

void write_text(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    check(RegSetKeyValueW(root, key.c_str(), name, REG_SZ, text.c_str(),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
}

bool is_same_file(std::wstring_view left, std::wstring_view right) {
    const int order = CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                           static_cast<int>(right.size()), TRUE);
    if (order == 0) throw_win32_error("Can't compare paths", GetLastError());
    return order == CSTR_EQUAL;
}

// Whether the path leads to this library or to a copy of it elsewhere, as an earlier version may have left behind.
bool is_own(const std::wstring& server, const std::wstring& library) {
    return is_same_file(text::file_name(server), text::file_name(library));
}

// Whether a library other than this one makes objects of the class.
bool is_offered_by_others(const GUID& id, const std::wstring& library) {
    const auto server = read_text(HKEY_CLASSES_ROOT, server_key_of(id), nullptr);
    if (!server || is_own(*server, library)) return false;
    const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(initialised) && initialised != RPC_E_CHANGED_MODE)
        throw_hresult_error("Can't initialize COM", initialised);
    com_hld<IClassFactory> factory;
    const HRESULT found =
        CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, com::iid_of<IClassFactory>, factory.put_void());
    factory.reset();
    if (SUCCEEDED(initialised)) CoUninitialize();
    // A library that there is no memory to load is there all the same.
    return SUCCEEDED(found) || found == E_OUTOFMEMORY;
}

// Takes this library's entry out, and puts back what it has replaced.
void take_out(HKEY root, const registered_class& entry) {
    const std::wstring server_key = server_key_of(entry.id);
    const auto replaced = read_text(root, server_key, replaced_value);
    if (!replaced) return check(RegDeleteTreeW(root, key_of(entry.id).c_str()));
    write_text(root, server_key, nullptr, *replaced);
    check(RegDeleteKeyValueW(root, server_key.c_str(), replaced_value));
}

// As far as it goes: what made it necessary is told.
void try_to_take_out(HKEY root, const registered_class& entry) noexcept {
    try {
        take_out(root, entry);
    } catch (const std::exception&) {
    }
}

// The library's path comes last: without it an entry is nobody's.
void write_entry(HKEY root, const std::wstring& server_key, const std::wstring& library) {
    write_text(root, server_key, L"ThreadingModel", L"Both");
    write_text(root, server_key, nullptr, library);
}

// Answers whether it was not there; throws, and has changed nothing, where it cannot be entered.
bool enter(HKEY root, const registered_class& entry, const std::wstring& library) {
    const std::wstring server_key = server_key_of(entry.id);
    const auto before = read_text(root, server_key, nullptr);
    if (before && is_own(*before, library)) {
        write_entry(root, server_key, library);
        return false;
    }
    if (before) write_text(root, server_key, replaced_value, *before);
    try {
        if (!before) write_text(root, key_of(entry.id), nullptr, entry.description);
        write_entry(root, server_key, library);
    } catch (const std::exception&) {
        try_to_take_out(root, entry);
        throw;
    }
    return true;
}

void leave(HKEY root, const registered_class& entry, const std::wstring& library) {
    const std::wstring server_key = server_key_of(entry.id);
    const auto server = read_text(root, server_key, nullptr);
    if (!server) return;
    if (is_same_file(*server, library)) return take_out(root, entry);
    // What an earlier try has put back, but could not tidy up after.
    if (read_text(root, server_key, replaced_value) == server)
        check(RegDeleteKeyValueW(root, server_key.c_str(), replaced_value));
}

// The classes of all users, or of this one, open for changes.
key_hld open_classes(HKEY root) {
    HKEY opened = nullptr;
    check(RegCreateKeyExW(root, L"Software\\Classes", 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &opened, nullptr));
    return key_hld(opened);
}

// All of them or none.
void enter_all(HKEY root, const std::wstring& library) {
    const key_hld key = open_classes(root);
    std::vector<const registered_class*> entered;
    entered.reserve(std::size(classes));
    try {
        for (const auto& entry : classes)
            if (enter(key.get(), entry, library)) entered.push_back(&entry);
    } catch (const std::exception&) {
        for (const auto* entry : entered) try_to_take_out(key.get(), *entry);
        throw;
    }
}

// As many as go.
void leave_all(HKEY root, const std::wstring& library) {
    const key_hld key = open_classes(root);
    std::exception_ptr first;
    for (const auto& entry : classes) {
        try {
            leave(key.get(), entry, library);
        } catch (const std::exception&) {
            if (!first) first = std::current_exception();
        }
    }
    if (first) std::rethrow_exception(first);
}

bool is_access_denied(HRESULT result) {
    return result == HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
}

template <class Work>
HRESULT result_of(Work&& work) noexcept {
    return guard([&] {
        work();
        return S_OK;
    });
}

}  // namespace

HRESULT register_classes(const std::wstring& library) noexcept {
    return guard([&]() -> HRESULT {
        for (const auto& entry : classes)
            if (is_offered_by_others(entry.id, library)) return SELFREG_E_CLASS;
        const HRESULT all = result_of([&] { enter_all(HKEY_LOCAL_MACHINE, library); });
        return is_access_denied(all) ? result_of([&] { enter_all(HKEY_CURRENT_USER, library); }) : all;
    });
}

HRESULT unregister_classes(const std::wstring& library) noexcept {
    const HRESULT own = result_of([&] { leave_all(HKEY_CURRENT_USER, library); });
    const HRESULT all = result_of([&] { leave_all(HKEY_LOCAL_MACHINE, library); });
    // Someone who may not change the classes of all users has none of them to take out but his own.
    return FAILED(own) || is_access_denied(all) ? own : all;
}

}  // namespace qv::symbols
