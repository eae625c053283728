// The classic backend where there is no COM and so no symbol reader: nothing is ever found.
#include "pdb_server/src/pdb_processor_dsr.h"

namespace qv::profiler::pdb_server {

struct dsr_data {};

std::shared_ptr<dsr_data> dsr_init() {
    return std::make_shared<dsr_data>();
}

bool dsr_is_available(const std::shared_ptr<dsr_data>&) noexcept {
    return false;
}

std::shared_ptr<module_data> dsr_load_module(const std::shared_ptr<dsr_data>&, const boost::filesystem::path&,
                                             const GUID&, const search_path_list&, std::uint8_t, const stop_check&) {
    return nullptr;
}

}  // namespace qv::profiler::pdb_server
