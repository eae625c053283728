// For tests: COM objects that are counted, so that a test sees that none is left over, and the installed runtimes of
// a machine made of them. Windows only.
#pragma once

#include <objidl.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/com/counted_object.h"
#include "common/com/runtime_interfaces.h"

template <>
inline constexpr GUID qv::com::iid_of<IEnumUnknown>{0x00000100, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace qv::testing {

// What all objects of one test share.
struct fake_machine {
    int live = 0;                            // objects
    std::map<std::string, HRESULT> results;  // what a named call answers instead of success
    std::vector<std::wstring> runtimes;
    std::wstring asked_runtime;  // whose GetInterface was called last
    IUnknown* interface_of_runtime = nullptr;

    HRESULT result_of(const std::string& call) const {
        const auto found = results.find(call);
        return found == results.end() ? S_OK : found->second;
    }
};

// Starts with its maker's reference.
template <class Script, class First, class... Others>
class fake_object : public com::counted_object<First, Others...> {
public:
    explicit fake_object(Script& script) : script_(script) { ++script_.live; }
    ~fake_object() override { --script_.live; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        const HRESULT result = script_.result_of("QueryInterface");
        if (SUCCEEDED(result) || IsEqualGUID(id, com::iid_of<IUnknown>))
            return com::counted_object<First, Others...>::QueryInterface(id, object);
        *object = nullptr;
        return result;
    }

protected:
    Script& script_;
};

struct fake_runtime : fake_object<fake_machine, com::ICLRRuntimeInfo> {
    fake_runtime(fake_machine& machine, std::wstring version) : fake_object(machine), version_(std::move(version)) {}

    HRESULT STDMETHODCALLTYPE GetVersionString(WCHAR* buffer, DWORD* size) override {
        if (const HRESULT result = script_.result_of("GetVersionString"); FAILED(result)) return result;
        const DWORD capacity = std::exchange(*size, static_cast<DWORD>(version_.size() + 1));
        if (capacity < *size) return static_cast<HRESULT>(0x8007007A);
        std::copy_n(version_.c_str(), *size, buffer);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetInterface(REFCLSID class_id, REFIID id, void** result) override {
        script_.asked_runtime = version_;
        if (const HRESULT failure = script_.result_of("GetInterface"); FAILED(failure)) return failure;
        if (!IsEqualGUID(class_id, com::clsid_metadata_dispenser)) return E_INVALIDARG;
        return script_.interface_of_runtime->QueryInterface(id, result);
    }

    const std::wstring version_;
};

struct fake_enumerator : fake_object<fake_machine, IEnumUnknown> {
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE Next(ULONG, IUnknown** elements, ULONG* fetched) override {
        if (const HRESULT result = script_.result_of("Next"); FAILED(result)) return result;
        if (next_ == script_.runtimes.size()) return S_FALSE;
        *elements = new fake_runtime(script_, script_.runtimes[next_++]);
        *fetched = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IEnumUnknown**) override { return E_NOTIMPL; }

    std::size_t next_ = 0;
};

struct fake_meta_host : fake_object<fake_machine, com::ICLRMetaHost> {
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE EnumerateInstalledRuntimes(IEnumUnknown** runtimes) override {
        if (const HRESULT failure = script_.result_of("EnumerateInstalledRuntimes"); FAILED(failure)) return failure;
        *runtimes = new fake_enumerator(script_);
        return S_OK;
    }
};

}  // namespace qv::testing
