#include "pdb_server/src/ppdb/metadata_container.h"

#include <cstring>
#include <utility>

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server {

metadata_container::metadata_container(std::vector<unsigned char>&& bytes)
    : bytes_(std::move(bytes)), parser_(bytes_.size(), bytes_.data()) {
    static constexpr throw_site here{
        "__cdecl qv::profiler::pdb_server::metadata_container::metadata_container(class std::vector<unsigned "
        "char,class std::allocator<unsigned char> > &&)",
        "pdb_server/src/pdb_processor_ppdb"};
    if (!parser_.pdb()) throw_error("Metadata doesn't containt PDB information", here);
}

bool metadata_container::has_id(const GUID& guid, std::uint32_t stamp) const noexcept {
    const unsigned char* const id = parser_.pdb()->id.data();
    return std::memcmp(id, &guid, sizeof guid) == 0 && std::memcmp(id + sizeof guid, &stamp, sizeof stamp) == 0;
}

}  // namespace qv::profiler::pdb_server
