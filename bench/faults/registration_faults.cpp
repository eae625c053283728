// Calls of the system that fail while the reader of classic PDBs is registered, or taken out again. Changes the
// registry of the machine that runs this, and leaves it as it was.
#include <optional>

#include "base/holders.h"
#include "base/module_path.h"
#include "bench/faults/library_calls.h"
#include "bench/faults/scenario.h"

namespace qv::bench {
namespace {

using boost::filesystem::path;

const std::wstring binder_key = L"Software\\Classes\\CLSID\\{0A29FF9E-7F9C-4437-8B11-F424491E3931}";
const std::wstring dispenser_key = L"Software\\Classes\\CLSID\\{E5CB7A31-7512-11D2-89CE-0080C792E5D8}";

std::wstring text_of(const std::wstring& key, const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    const auto place = key + L"\\InprocServer32";
    return RegGetValueW(HKEY_LOCAL_MACHINE, place.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size) == 0 ? text
                                                                                                           : L"-";
}

// What the machine's entries say.
std::wstring entries() {
    std::wstring all;
    for (const auto& key : {binder_key, dispenser_key})
        all += text_of(key, nullptr) + L"|" + text_of(key, L"ReplacedServer") + L"|";
    HKEY binder = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, binder_key.c_str(), 0, KEY_READ, &binder) != 0) return all + L"no binder";
    RegCloseKey(binder);
    return all;
}

// The entry of a library that has gone, where nobody has the class.
class dead_entry {
public:
    dead_entry() : is_own_(text_of(dispenser_key, nullptr) == L"-") {
        constexpr wchar_t text[] = L"C:\\no such folder\\other.dll";
        if (is_own_)
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, (dispenser_key + L"\\InprocServer32").c_str(), nullptr, REG_SZ, text,
                            sizeof text);
    }
    ~dead_entry() {
        if (is_own_) RegDeleteTreeW(HKEY_LOCAL_MACHINE, dispenser_key.c_str());
    }
    dead_entry(const dead_entry&) = delete;
    dead_entry& operator=(const dead_entry&) = delete;

private:
    const bool is_own_;
};

class registration {
public:
    explicit registration(HMODULE library) : library_(library) {
        promise(call("DllUnregisterServer") == S_OK, "a reader that can be taken out");
        other_.emplace();
        absent_ = entries();
        promise(call("DllRegisterServer") == S_OK, "a reader that can be registered");
        present_ = entries();
        promise(present_ != absent_, "a difference");
    }

    ~registration() {
        call("DllUnregisterServer");
        other_.reset();
        call("DllRegisterServer");
    }
    registration(const registration&) = delete;
    registration& operator=(const registration&) = delete;

    // How often it failed; all or nothing each time.
    unsigned fail_each(const library_call& row) const {
        const auto import = row.replace(library_);
        unsigned failures = 0;
        while (fail(row, "DllUnregisterServer", "DllRegisterServer", absent_, present_, failures + 1)) ++failures;
        const unsigned entering = failures;
        while (fail(row, "DllRegisterServer", "DllUnregisterServer", present_, absent_, failures - entering + 1))
            ++failures;
        return failures;
    }

private:
    HRESULT call(const char* name) const {
        return reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)()>(
            reinterpret_cast<void*>(GetProcAddress(library_, name)))();
    }

    // False where it has no call of this number.
    bool fail(const library_call& row, const char* prepare, const char* name, const std::wstring& before,
              const std::wstring& after, unsigned turn) const {
        promise(call(prepare) == S_OK && entries() == before, std::string(prepare) + " as ever");
        failing_calls::begin(static_cast<int>(turn));
        const HRESULT result = call(name);
        const bool failed = failing_calls::end() != 0;
        const std::string text = result_text(result);
        const std::string what = std::string(row.name) + ", call " + std::to_string(turn) + " of " + name;
        promise(SUCCEEDED(result) || row.texts.contains(text), what + " answers " + text);
        // What is taken out goes one by one; the rest goes the next time.
        if (SUCCEEDED(result))
            promise(entries() == after, what + " is done");
        else if (before == absent_)
            promise(entries() == before, what + " leaves nothing behind");
        promise(call(name) == S_OK && entries() == after, std::string(name) + " as ever after " + what);
        return failed;
    }

    const HMODULE library_;
    std::optional<dead_entry> other_;
    std::wstring absent_, present_;
};

std::string registrations_fail(const circumstances&) {
    if (!testing::has_symbol_binder()) return "not done: no reader is registered";
    const path place = path(module_path(nullptr)).parent_path() / reader;
    if (text_of(binder_key, nullptr) != place.native()) return "not done: the reader is another one's";
    const com_apartment com;
    const library_hld library(LoadLibraryW(place.c_str()));
    const registration both(library.get());
    std::string text;
    unsigned failures = 0;
    for (const library_call& row : registration_calls()) {
        const unsigned times = both.fail_each(row);
        promise(times != 0, std::string(row.name) + " is called at all");
        text += "\n      " + std::string(row.name) + ", " + std::to_string(times) + " times";
        failures += times;
    }
    return std::to_string(failures) + " failing calls of " + std::to_string(registration_calls().size()) +
           " functions, all or nothing entered:" + text;
}

}  // namespace

std::vector<scenario> registration_scenarios() {
    return {{"registration", registrations_fail}};
}

}  // namespace qv::bench
