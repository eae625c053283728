// For tests: COM objects that are counted, so that a test sees that none is left over. Windows only.
#pragma once

#include <unknwn.h>

#include <map>
#include <string>

#include "qv/com/interface_id.h"

namespace qv::testing {

// What all objects of one test share: how many there are, and what a named call is to answer instead of working.
struct com_script {
    int live = 0;
    std::map<std::string, HRESULT> results;

    HRESULT result_of(const std::string& call) const {
        const auto found = results.find(call);
        return found == results.end() ? S_OK : found->second;
    }
};

// Implements IUnknown over the interfaces; the first one is the identity. Starts with the one reference of its maker.
// The call "QueryInterface" of the script serves the interfaces after the first.
template <class First, class... Others>
class counted_object : public First, public Others... {
public:
    explicit counted_object(com_script& script) : script_(script) { ++script_.live; }
    counted_object(const counted_object&) = delete;
    counted_object& operator=(const counted_object&) = delete;
    virtual ~counted_object() { --script_.live; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (IsEqualGUID(id, com::iid_of<IUnknown>) || matches(id)) *object = static_cast<First*>(this);
        if (*object == nullptr)
            if (const HRESULT result = script_.result_of("QueryInterface"); FAILED(result)) return result;
        ((IsEqualGUID(id, com::iid_of<Others>) ? void(*object = static_cast<Others*>(this)) : void()), ...);
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
    // Whether the id is that of the first interface, which may be a class over it.
    virtual bool matches(REFIID) const { return false; }

    com_script& script_;

private:
    ULONG references_ = 1;
};

}  // namespace qv::testing
