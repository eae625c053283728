// For tests: COM objects that are counted, so that a test sees that none is left over. Windows only.
#pragma once

#include <unknwn.h>

#include <map>
#include <string>

#include "qv/com/interface_id.h"

namespace qv::testing {

// What all objects of one test share: how many there are, and what a named call answers instead of success.
struct com_script {
    int live = 0;
    std::map<std::string, HRESULT> results;

    HRESULT result_of(const std::string& call) const {
        const auto found = results.find(call);
        return found == results.end() ? S_OK : found->second;
    }
};

// Implements IUnknown over `First`, which is known as `Interface`, and the others. Starts with its maker's reference.
template <class Script, class First, class Interface = First, class... Others>
class fake_object : public First, public Others... {
public:
    explicit fake_object(Script& script) : script_(script) { ++script_.live; }
    virtual ~fake_object() { --script_.live; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        const auto offer = [&](const GUID& own, void* pointer) { *object = IsEqualGUID(id, own) ? pointer : *object; };
        *object = nullptr;
        const HRESULT result = script_.result_of("QueryInterface");
        if (FAILED(result) && !IsEqualGUID(id, com::iid_of<IUnknown>)) return result;
        (offer(com::iid_of<Others>, static_cast<Others*>(this)), ...);
        offer(com::iid_of<Interface>, static_cast<First*>(this));
        offer(com::iid_of<IUnknown>, static_cast<First*>(this));
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
    Script& script_;

private:
    ULONG references_ = 1;
};

}  // namespace qv::testing
