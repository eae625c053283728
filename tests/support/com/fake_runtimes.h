// For tests: installed runtimes written by hand. Windows only.
#pragma once

#include <objidl.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "qv/com/runtime_interfaces.h"
#include "tests/support/com/fake_object.h"

namespace qv::testing {

struct fake_machine : com_script {
    std::vector<std::wstring> runtimes;
    std::wstring asked_runtime;  // whose GetInterface was called last
    IUnknown* interface_of_runtime = nullptr;
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

struct fake_enumerator : fake_object<fake_machine, IEnumUnknown, IUnknown> {
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
