#include "common/sdk_helpers.h"

#include "base/exception.h"

namespace qv::detail {
namespace {

constexpr const char* source = "common/sdk_helpers";

}  // namespace

void check_interface(const void* pointer) {
    static constexpr throw_site here{"void __cdecl qv::detail::check_interface(const void *)", source};
    if (pointer == nullptr) throw_hresult_error("Null interface pointer", E_POINTER, here);
}

void* query_nullable_interface(IUnknown* object, REFIID interface_id) {
    static constexpr throw_site here{
        "void *__cdecl qv::detail::query_nullable_interface(struct IUnknown *,const struct _GUID &)", source};
    check_interface(object);
    void* found = nullptr;
    const HRESULT result = object->QueryInterface(interface_id, &found);
    if (result == E_NOINTERFACE) return nullptr;
    if (FAILED(result)) throw_hresult_error("Failed to query nullable interface", result, here);
    return found;
}

void* query_interface(IUnknown* object, REFIID interface_id) {
    static constexpr throw_site here{
        "void *__cdecl qv::detail::query_interface(struct IUnknown *,const struct _GUID &)", source};
    check_interface(object);
    void* found = nullptr;
    const HRESULT result = object->QueryInterface(interface_id, &found);
    if (FAILED(result)) throw_hresult_error("Failed to query interface", result, here);
    return found;
}

}  // namespace qv::detail
