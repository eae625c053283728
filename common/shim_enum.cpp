#include "common/shim_enum.h"

#include <objidl.h>

#include <algorithm>
#include <vector>

#include "base/exception.h"
#include "core/parse.h"

namespace qv::shim {
namespace {

// The classic backend is the only user, and its failures carry its name.
constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

constexpr HRESULT buffer_too_small = static_cast<HRESULT>(0x8007007A);
constexpr DWORD usual_version_size = 32;
constexpr DWORD longest_version = 0x7FFF;

com_hld<IEnumUnknown> enumerate_runtimes(const com_hld<com::ICLRMetaHost>& meta_host) {
    static constexpr throw_site here{
        "class qv::com_hld<struct IEnumUnknown> __cdecl qv::shim::`anonymous-namespace'::enumerate_runtimes(const "
        "class "
        "qv::com_hld<struct qv::com::ICLRMetaHost> &)",
        source};
    com_hld<IEnumUnknown> runtimes;
    const HRESULT result = meta_host->EnumerateInstalledRuntimes(runtimes.put());
    if (FAILED(result)) throw_hresult_error("Can't enumerate installed runtimes", result, here);
    return runtimes;
}

// The next runtime; empty at the end.
com_hld<com::ICLRRuntimeInfo> next_runtime(const com_hld<IEnumUnknown>& runtimes) {
    static constexpr throw_site here{
        "class qv::com_hld<struct qv::com::ICLRRuntimeInfo> __cdecl "
        "qv::shim::`anonymous-namespace'::next_runtime(const "
        "class qv::com_hld<struct IEnumUnknown> &)",
        source};
    com_hld<IUnknown> element;
    ULONG fetched = 0;
    HRESULT result = runtimes->Next(1, element.put(), &fetched);
    if (result == S_FALSE) return {};
    com_hld<com::ICLRRuntimeInfo> runtime;
    if (SUCCEEDED(result)) result = element->QueryInterface(com::iid_of<com::ICLRRuntimeInfo>, runtime.put_void());
    if (FAILED(result)) throw_hresult_error("Can't enumerate module installed runtime interfaces", result, here);
    return runtime;
}

bool names_version(const std::wstring& text) {
    return !text.empty() && (text[0] == L'v' || text[0] == L'V');
}

}  // namespace

std::wstring get_version_string(const com_hld<com::ICLRRuntimeInfo>& runtime) {
    static constexpr throw_site here{
        "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > __cdecl "
        "qv::shim::get_version_string(const class qv::com_hld<struct qv::com::ICLRRuntimeInfo> &)",
        source};
    std::vector<wchar_t> buffer(usual_version_size);
    auto size = static_cast<DWORD>(buffer.size());
    HRESULT result = runtime->GetVersionString(buffer.data(), &size);
    if (result == buffer_too_small && size > buffer.size() && size <= longest_version) {
        buffer.assign(size, L'\0');
        result = runtime->GetVersionString(buffer.data(), &size);
    }
    if (FAILED(result)) throw_hresult_error("Failed to get runtime version", result, here);
    return {buffer.begin(), std::find(buffer.begin(), buffer.end(), L'\0')};
}

com_hld<com::ICLRRuntimeInfo> find_newest_runtime(const com_hld<com::ICLRMetaHost>& meta_host) {
    const com_hld<IEnumUnknown> runtimes = enumerate_runtimes(meta_host);
    com_hld<com::ICLRRuntimeInfo> newest;
    qv::version3<unsigned short> newest_version{};
    while (auto runtime = next_runtime(runtimes)) {
        const std::wstring text = get_version_string(runtime);
        if (!names_version(text)) continue;
        const auto version = quorvex::common::parse_version3<unsigned short, 3, 3>(text.substr(1));
        if (newest && !(newest_version < version)) continue;
        newest = std::move(runtime);
        newest_version = version;
    }
    return newest;
}

}  // namespace qv::shim
