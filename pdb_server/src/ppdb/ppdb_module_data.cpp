#include "pdb_server/src/ppdb/ppdb_module_data.h"

#include "core/src/bridges/bridge_protocol.h"
#include "pdb_server/src/ppdb/document_name.h"
#include "pdb_server/src/ppdb/sequence_points.h"
#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace metadata::detail_metadata;

// The kind of custom debug information that holds the Source Link document.
constexpr GUID source_link = {0xCC110556, 0xA091, 0x4D38, {0x9F, 0xEC, 0x25, 0xAB, 0x9A, 0x35, 0x1A, 0x6A}};

constexpr std::uint32_t row_of(std::uint32_t token) noexcept {
    return token & 0xFFFFFF;
}

void copy(const md_region& blob, std::vector<std::uint8_t>& bytes) {
    bytes.assign(blob.data(), blob.data() + blob.size());
}

// Source Link belongs to the module as a whole.
void require_module(md_token<idx_HasCustomDebugInformation> token) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::ppdb_module_data::get_source_server_data(class std::vector<unsigned "
        "char,class std::allocator<unsigned char> > &)",
        "pdb_server/src/pdb_processor_ppdb"};
    const table_row parent = decode(token);
    if (parent.table != md_Module::number) throw_error("Invalid parent index type", here);
    if (parent.row != 1) throw_error("Invalid parent index rid", here);
}

}  // namespace

void ppdb_module_data::get_source_server_data(std::vector<std::uint8_t>& data) {
    data.clear();
    const metadata_parser& parser = container_->parser();
    const accessor rows(parser);
    const std::uint32_t count = rows.get_row_count<md_CustomDebugInformation>();
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t row = i + 1;
        const auto kind = rows.get_field_value<md_CustomDebugInformation, fld_Kind>(row);
        if (parser.get_stream_data(kind, false) != source_link) continue;
        require_module(rows.get_field_value<md_CustomDebugInformation, fld_Parent>(row));
        return copy(parser.get_stream_data(rows.get_field_value<md_CustomDebugInformation, fld_Value>(row)), data);
    }
}

void ppdb_module_data::get_method_offsets(std::uint32_t method_token, std::vector<std::uint32_t>& offsets) {
    offsets.clear();
    for_each_sequence_point(container_->parser(), row_of(method_token),
                            [&](const sequence_point& point) { offsets.push_back(point.il_offset); });
}

void ppdb_module_data::get_method_ranges(std::uint32_t method_token, std::vector<std::uint32_t>& document_ids,
                                         std::vector<std::uint32_t>& start_lines,
                                         std::vector<std::uint32_t>& start_columns,
                                         std::vector<std::uint32_t>& end_lines,
                                         std::vector<std::uint32_t>& end_columns) {
    for (auto* output : {&document_ids, &start_lines, &start_columns, &end_lines, &end_columns}) output->clear();
    for_each_sequence_point(container_->parser(), row_of(method_token), [&](const sequence_point& point) {
        document_ids.push_back(point.document);
        start_lines.push_back(point.hidden ? hidden_line : point.start_line);
        start_columns.push_back(point.hidden ? 0 : point.start_column);
        end_lines.push_back(point.hidden ? hidden_line : point.end_line);
        end_columns.push_back(point.hidden ? 0 : point.end_column);
    });
}

void ppdb_module_data::get_document(std::uint32_t document_id, std::wstring& url, GUID& checksum_algorithm,
                                    std::vector<std::uint8_t>& checksum) {
    url.clear();
    checksum.clear();
    const metadata_parser& parser = container_->parser();
    const accessor rows(parser);
    if (rows.get_row_count<md_Document>() == 0) return;
    read_document_name(parser, rows.get_field_value<md_Document, fld_Name>(document_id), url);
    const auto algorithm = rows.get_field_value<md_Document, fld_HashAlgorithm>(document_id);
    checksum_algorithm = parser.get_stream_data(algorithm, true);
    copy(parser.get_stream_data(rows.get_field_value<md_Document, fld_Hash>(document_id)), checksum);
}

}  // namespace qv::profiler::pdb_server
