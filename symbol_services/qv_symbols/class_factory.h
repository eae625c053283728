// Makes the objects of one class of this library.
#pragma once

#include "symbol_services/qv_symbols/com_object.h"

namespace qv::symbols {

template <class Object>
class class_factory final : public com_object<IClassFactory> {
public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        *object = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        return guard([&] { return make_object<Object>()->QueryInterface(id, object); });
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        if (lock != FALSE)
            module_lock::add();
        else
            module_lock::remove();
        return S_OK;
    }

private:
    ~class_factory() override = default;
    void* find_interface(REFIID id) noexcept override {
        return IsEqualGUID(id, com::iid_of<IClassFactory>) ? static_cast<IClassFactory*>(this) : nullptr;
    }
};

}  // namespace qv::symbols
