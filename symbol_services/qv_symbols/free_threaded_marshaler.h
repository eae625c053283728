// Makes an object's interface pointers good in every apartment of the process.
#pragma once

#include <unknwn.h>

#include <mutex>

#include "common/sdk_helpers.h"

namespace qv::symbols {

// For an object that any thread may use: COM must hand its pointers over as they are, and not wrap them into a proxy
// that leads back to the apartment where the object was made. A member of the object; the system's part is made when it
// is first asked for, since few objects ever cross apartments.
class free_threaded_marshaler {
public:
    // Answers a query of `owner`, which the marshaler is a part of, for IMarshal.
    HRESULT query(IUnknown* owner, void** marshal) noexcept;

private:
    std::mutex mutex_;
    com_hld<IUnknown> aggregated_;
};

}  // namespace qv::symbols
