// The .NET runtimes that are installed on the machine. Windows only. Failures are hresult_exception.
#pragma once

#include <string>

#include "common/com/runtime_interfaces.h"
#include "common/sdk_helpers.h"

namespace qv::shim {

// "v4.0.30319".
std::wstring get_version_string(const com_hld<com::ICLRRuntimeInfo>& runtime);

// The installed runtime of the highest version, the first one of equal versions; empty when there is none. Versions
// that do not begin with "v" or "V" do not count. Throws what parse_version3 throws.
com_hld<com::ICLRRuntimeInfo> find_newest_runtime(const com_hld<com::ICLRMetaHost>& meta_host);

}  // namespace qv::shim
