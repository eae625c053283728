// The platform's interfaces to installed runtimes and to metadata, and the ids of the classes that offer them. Windows
// only.
//
// Names, ids and slot orders are the published ones of the hosting interfaces (metahost) and of unmanaged metadata
// (cor). Slots that nothing here calls are declared without parameters: they only keep the others in their places, and
// answer E_NOTIMPL, which on 64-bit Windows needs no knowledge of the arguments.
#pragma once

#include <unknwn.h>

#include "common/com/interface_id.h"
#include "common/com/outputs.h"

namespace qv::com {

inline constexpr GUID clsid_metadata_dispenser{
    0xE5CB7A31, 0x7512, 0x11D2, {0x89, 0xCE, 0x00, 0x80, 0xC7, 0x92, 0xE5, 0xD8}};
inline constexpr GUID clsid_clr_meta_host{0x9280188D, 0x0E8E, 0x4867, {0xB3, 0x0C, 0x7F, 0xA8, 0x38, 0x84, 0xE8, 0xDE}};

struct IMetaDataDispenser : IUnknown {
    static constexpr GUID iid{0x809C652E, 0x7396, 0x11D2, {0x97, 0x71, 0x00, 0xA0, 0xC9, 0xB4, 0xD5, 0x0C}};

    virtual HRESULT STDMETHODCALLTYPE DefineScope(REFCLSID /*class_id*/, DWORD /*flags*/, REFIID /*interface_id*/,
                                                  IUnknown** scope) {
        return refuse(E_NOTIMPL, scope);
    }
    // `flags` 0 opens for reading.
    virtual HRESULT STDMETHODCALLTYPE OpenScope(const WCHAR* file, DWORD flags, REFIID interface_id,
                                                IUnknown** scope) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenScopeOnMemory(const void* /*data*/, ULONG /*size*/, DWORD /*flags*/,
                                                        REFIID /*interface_id*/, IUnknown** scope) {
        return refuse(E_NOTIMPL, scope);
    }
};

struct ICLRMetaHost : IUnknown {
    static constexpr GUID iid{0xD332DB9E, 0xB9B3, 0x4125, {0x82, 0x07, 0xA1, 0x48, 0x84, 0xF5, 0x32, 0x16}};

    virtual HRESULT STDMETHODCALLTYPE GetRuntime() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetVersionFromFile() { return E_NOTIMPL; }
    // The elements are ICLRRuntimeInfo.
    virtual HRESULT STDMETHODCALLTYPE EnumerateInstalledRuntimes(IEnumUnknown** runtimes) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumerateLoadedRuntimes() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE RequestRuntimeLoadedNotification() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE QueryLegacyV2RuntimeBinding() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE ExitProcess() { return E_NOTIMPL; }
};

struct ICLRRuntimeInfo : IUnknown {
    static constexpr GUID iid{0xBD39D1D2, 0xBA2F, 0x486A, {0x89, 0xB0, 0xB4, 0xB0, 0xCB, 0x46, 0x68, 0x91}};

    // "v4.0.30319". `size` is that of the buffer in characters, then that of the text with its terminator; a buffer too
    // small answers HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER).
    virtual HRESULT STDMETHODCALLTYPE GetVersionString(WCHAR* buffer, DWORD* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRuntimeDirectory() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE IsLoaded() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE LoadErrorString() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE LoadLibrary() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetProcAddress() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetInterface(REFCLSID class_id, REFIID interface_id, void** result) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsLoadable() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetDefaultStartupFlags() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetDefaultStartupFlags() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE BindAsLegacyV2Runtime() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE IsStarted() { return E_NOTIMPL; }
};

}  // namespace qv::com
