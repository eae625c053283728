// For tests: installed runtimes written by hand. Windows only.
#pragma once

#include <objidl.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "qv/com/runtime_interfaces.h"
#include "tests/support/com/counted_object.h"

namespace qv::testing {

// The script's call "GetInterface" and the version strings serve all runtimes of it.
struct fake_machine : com_script {
    std::vector<std::wstring> runtimes;
    std::wstring asked_runtime;  // whose GetInterface was called last
    IUnknown* interface_of_runtime = nullptr;
};

class fake_runtime : public counted_object<com::ICLRRuntimeInfo> {
public:
    fake_runtime(fake_machine& machine, std::wstring version)
        : counted_object(machine), machine_(machine), version_(std::move(version)) {}

    HRESULT STDMETHODCALLTYPE GetVersionString(WCHAR* buffer, DWORD* size) override {
        if (const HRESULT result = machine_.result_of("GetVersionString"); FAILED(result)) return result;
        const DWORD capacity = std::exchange(*size, static_cast<DWORD>(version_.size() + 1));
        if (capacity < *size) return static_cast<HRESULT>(0x8007007A);
        std::copy_n(version_.c_str(), *size, buffer);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetInterface(REFCLSID class_id, REFIID id, void** result) override {
        *result = nullptr;
        machine_.asked_runtime = version_;
        if (const HRESULT failure = machine_.result_of("GetInterface"); FAILED(failure)) return failure;
        if (!IsEqualGUID(class_id, com::clsid_metadata_dispenser)) return E_INVALIDARG;
        return machine_.interface_of_runtime->QueryInterface(id, result);
    }

private:
    bool matches(REFIID id) const override {
        return SUCCEEDED(machine_.result_of("QueryInterface")) && IsEqualGUID(id, com::iid_of<com::ICLRRuntimeInfo>);
    }

    fake_machine& machine_;
    std::wstring version_;
};

class fake_enumerator : public counted_object<IEnumUnknown> {
public:
    explicit fake_enumerator(fake_machine& machine) : counted_object(machine), machine_(machine) {}

    HRESULT STDMETHODCALLTYPE Next(ULONG, IUnknown** elements, ULONG* fetched) override {
        if (const HRESULT result = machine_.result_of("Next"); FAILED(result)) return result;
        if (next_ == machine_.runtimes.size()) return S_FALSE;
        *elements = new fake_runtime(machine_, machine_.runtimes[next_++]);
        *fetched = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IEnumUnknown**) override { return E_NOTIMPL; }

private:
    fake_machine& machine_;
    std::size_t next_ = 0;
};

class fake_meta_host : public counted_object<com::ICLRMetaHost> {
public:
    explicit fake_meta_host(fake_machine& machine) : counted_object(machine), machine_(machine) {}

    HRESULT STDMETHODCALLTYPE EnumerateInstalledRuntimes(IEnumUnknown** runtimes) override {
        *runtimes = nullptr;
        if (const HRESULT failure = machine_.result_of("EnumerateInstalledRuntimes"); FAILED(failure)) return failure;
        *runtimes = new fake_enumerator(machine_);
        return S_OK;
    }

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::ICLRMetaHost>); }

    fake_machine& machine_;
};

}  // namespace qv::testing
