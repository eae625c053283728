// The platform's interface to the metadata of an image, for objects that implement a part of it. Windows only.
//
// Id and slot order are the published ones (cor). Only the slots that are implemented here have their parameters; the
// others keep their places and answer E_NOTIMPL, which on 64-bit Windows needs no knowledge of the arguments.
#pragma once

#include "common/com/interface_id.h"

namespace qv::com {

struct IMetaDataImport : IUnknown {
    static constexpr GUID iid{0x7DAC8207, 0xD3AE, 0x4C75, {0x9B, 0x67, 0x92, 0x80, 0x1A, 0x49, 0x7D, 0x44}};

    virtual void STDMETHODCALLTYPE CloseEnum() {}
    virtual HRESULT STDMETHODCALLTYPE CountEnum() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE ResetEnum() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumTypeDefs() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumInterfaceImpls() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumTypeRefs() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE FindTypeDefByName() { return E_NOTIMPL; }
    // Module name and version id; `count` receives the length of the name with its terminator.
    virtual HRESULT STDMETHODCALLTYPE GetScopeProps(WCHAR* name, ULONG capacity, ULONG* count, GUID* mvid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetModuleFromScope() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetTypeDefProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetInterfaceImplProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetTypeRefProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE ResolveTypeRef() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMembers() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMembersWithName() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMethods() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMethodsWithName() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumFields() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumFieldsWithName() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumParams() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMemberRefs() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMethodImpls() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumPermissionSets() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE FindMember() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE FindMethod() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE FindField() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE FindMemberRef() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetMethodProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetMemberRefProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumProperties() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumEvents() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetEventProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumMethodSemantics() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetMethodSemantics() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetClassLayout() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetFieldMarshal() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetRVA() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetPermissionSetProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetSigFromToken() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetModuleRefProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumModuleRefs() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetTypeSpecFromToken() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetNameFromToken() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumUnresolvedMethods() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetUserString() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetPinvokeMap() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumSignatures() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumTypeSpecs() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumUserStrings() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetParamForMethodIndex() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE EnumCustomAttributes() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetCustomAttributeProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE FindTypeRef() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetMemberProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetFieldProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetPropertyProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetParamProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetCustomAttributeByName() { return E_NOTIMPL; }
    virtual BOOL STDMETHODCALLTYPE IsValidToken() { return FALSE; }
    virtual HRESULT STDMETHODCALLTYPE GetNestedClassProps() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetNativeCallConvFromSig() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE IsGlobal() { return E_NOTIMPL; }
};

}  // namespace qv::com
