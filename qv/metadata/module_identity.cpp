#include "qv/metadata/module_identity.h"

#include "qv/metadata/metadata.h"

namespace qv::metadata {

using namespace detail_metadata;

namespace {

module_identity identity_of(const metadata_parser& parser) {
    const accessor rows(parser);
    const auto mvid = rows.get_field_value<md_Module, fld_Mvid>(1);
    return {parser.get_stream_data(mvid, false), rows.get_row_count<md_MethodDef>()};
}

}  // namespace

module_identity read_module_identity(const md_region& metadata) {
    return identity_of(metadata_parser(metadata));
}

module_identity read_module_identity(const std::vector<unsigned char>& metadata) {
    return identity_of(metadata_parser(metadata.size(), metadata.data()));
}

}  // namespace qv::metadata
