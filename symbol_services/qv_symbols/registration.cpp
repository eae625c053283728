#include "symbol_services/qv_symbols/registration.h"

#include <objbase.h>
#include <olectl.h>

#include <iterator>
#include <optional>

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

std::optional<std::wstring> read_text(HKEY root, const std::wstring& key, const wchar_t* name) {
    DWORD size = 0;
    if (RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, nullptr, &size) != 0) return std::nullopt;
    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(), &size) != 0) return std::nullopt;
    text.resize(wcsnlen(text.data(), text.size()));
    return text;
}

LSTATUS write_text(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    return RegSetKeyValueW(root, key.c_str(), name, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

bool is_same_file(std::wstring_view left, std::wstring_view right) {
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
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
    com_hld<IClassFactory> factory;
    const HRESULT found =
        CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, com::iid_of<IClassFactory>, factory.put_void());
    factory.reset();
    if (SUCCEEDED(initialised)) CoUninitialize();
    return SUCCEEDED(found);
}

LSTATUS enter(HKEY root, const registered_class& entry, const std::wstring& library) {
    const std::wstring server_key = server_key_of(entry.id);
    const auto replaced = read_text(root, server_key, nullptr);
    LSTATUS result = 0;
    if (replaced && !is_own(*replaced, library)) result = write_text(root, server_key, replaced_value, *replaced);
    if (result == 0 && !replaced) result = write_text(root, key_of(entry.id), nullptr, entry.description);
    if (result == 0) result = write_text(root, server_key, L"ThreadingModel", L"Both");
    if (result == 0) result = write_text(root, server_key, nullptr, library);
    return result;
}

LSTATUS leave(HKEY root, const registered_class& entry, const std::wstring& library) {
    const std::wstring server_key = server_key_of(entry.id);
    const auto server = read_text(root, server_key, nullptr);
    if (!server || !is_same_file(*server, library)) return 0;
    const auto replaced = read_text(root, server_key, replaced_value);
    if (!replaced) return RegDeleteTreeW(root, key_of(entry.id).c_str());
    const LSTATUS result = write_text(root, server_key, nullptr, *replaced);
    return result == 0 ? RegDeleteKeyValueW(root, server_key.c_str(), replaced_value) : result;
}

// The classes of all users, or of this one, open for changes; or why not.
LSTATUS open_classes(HKEY root, key_hld& key) {
    HKEY opened = nullptr;
    const LSTATUS result =
        RegCreateKeyExW(root, L"Software\\Classes", 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &opened, nullptr);
    key.reset(opened);
    return result;
}

LSTATUS enter_all(HKEY root, const std::wstring& library) {
    key_hld key;
    LSTATUS result = open_classes(root, key);
    for (const auto& entry : classes)
        if (result == 0) result = enter(key.get(), entry, library);
    return result;
}

LSTATUS leave_all(HKEY root, const std::wstring& library) {
    key_hld key;
    LSTATUS first = open_classes(root, key);
    if (first != 0) return first;
    for (const auto& entry : classes)
        if (const LSTATUS result = leave(key.get(), entry, library); first == 0) first = result;
    return first;
}

}  // namespace

HRESULT register_classes(const std::wstring& library) noexcept {
    return guard([&]() -> HRESULT {
        for (const auto& entry : classes)
            if (is_offered_by_others(entry.id, library)) return SELFREG_E_CLASS;
        LSTATUS result = enter_all(HKEY_LOCAL_MACHINE, library);
        if (result == ERROR_ACCESS_DENIED) result = enter_all(HKEY_CURRENT_USER, library);
        return HRESULT_FROM_WIN32(static_cast<DWORD>(result));
    });
}

HRESULT unregister_classes(const std::wstring& library) noexcept {
    return guard([&]() -> HRESULT {
        const LSTATUS own = leave_all(HKEY_CURRENT_USER, library);
        const LSTATUS all = leave_all(HKEY_LOCAL_MACHINE, library);
        // Someone who may not change the classes of all users has none of them to take out but his own.
        return HRESULT_FROM_WIN32(static_cast<DWORD>(own != 0 || all == ERROR_ACCESS_DENIED ? own : all));
    });
}

}  // namespace qv::symbols
