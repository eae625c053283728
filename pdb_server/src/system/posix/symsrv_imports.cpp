#include "pdb_server/src/system/windows/symsrv_imports.h"

namespace qv::profiler::pdb_server::symsrv_imports {

boost::filesystem::path find_file(const std::wstring&, const std::wstring&, const GUID&, std::uint32_t) {
    return {};
}

}  // namespace qv::profiler::pdb_server::symsrv_imports
