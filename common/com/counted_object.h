// What every COM object here is made over: its references and its identity. Windows only.
#pragma once

#include <atomic>

#include "common/com/interface_id.h"

namespace qv::com {

// Implements IUnknown over the interfaces; the first one is the identity. An object is made with new, begins with the
// reference of its maker, and goes with the last one. Any thread may hold references.
template <class First, class... Others>
class counted_object : public First, public Others... {
public:
    counted_object() = default;
    counted_object(const counted_object&) = delete;
    counted_object& operator=(const counted_object&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        *object = IsEqualGUID(id, iid_of<IUnknown>) ? static_cast<First*>(this) : find_interface(id);
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~counted_object() = default;

    // The interface of this id, without a reference; null where there is none.
    virtual void* find_interface(REFIID id) noexcept {
        void* found = IsEqualGUID(id, iid_of<First>) ? static_cast<First*>(this) : nullptr;
        ((found = IsEqualGUID(id, iid_of<Others>) ? static_cast<Others*>(this) : found), ...);
        return found;
    }

private:
    std::atomic<ULONG> references_{1};
};

}  // namespace qv::com
