#include "symbol_services/qv_symbols/com_object.h"

#include <objbase.h>
// after <objbase.h>
#include <objidl.h>

namespace qv::symbols {

HRESULT free_threaded_marshaler::query(IUnknown* owner, void** marshal) noexcept {
    *marshal = nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!aggregated_)
        if (const HRESULT made = CoCreateFreeThreadedMarshaler(owner, aggregated_.put()); FAILED(made)) return made;
    return aggregated_.get()->QueryInterface(IID_IMarshal, marshal);
}

}  // namespace qv::symbols
