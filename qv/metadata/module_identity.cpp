#include "qv/metadata/module_identity.h"

#include "qv/metadata/metadata.h"

namespace qv::metadata {

module_identity read_module_identity(const std::vector<unsigned char>& metadata) {
    using namespace detail_metadata;
    const metadata_parser parser(metadata.size(), metadata.data());
    const accessor rows(parser);
    const auto mvid = rows.get_field_value<md_Module, fld_Mvid>(1);
    return {parser.get_stream_data(mvid, false), rows.get_row_count<md_MethodDef>()};
}

}  // namespace qv::metadata
