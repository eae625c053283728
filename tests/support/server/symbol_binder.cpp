#include "tests/support/server/symbol_binder.h"

#include <objbase.h>

#include "common/sdk_helpers.h"
#include "qv/com/symbol_interfaces.h"

namespace qv::testing {

bool has_symbol_binder() {
    // For the rest of the program: what the engine makes in this thread lives as long.
    static const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(initialised)) return false;
    com_hld<com::ISymUnmanagedBinder2> binder;
    return SUCCEEDED(CoCreateInstance(com::clsid_symbol_binder, nullptr, CLSCTX_INPROC_SERVER,
                                      com::iid_of<com::ISymUnmanagedBinder2>, binder.put_void()));
}

}  // namespace qv::testing
