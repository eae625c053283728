#include "pdb_server/src/ppdb/ppdb_module_data.h"

#include <algorithm>
#include <codecvt>
#include <cstring>
#include <locale>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/exception.h"
#include "core/bridge_protocol.h"
#include "pdb_server/src/ppdb/sequence_points.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace metadata::detail_metadata;

constexpr const char* source = "pdb_server/src/pdb_processor_ppdb";

// The kind of custom debug information that holds the Source Link document.
constexpr GUID source_link = {0xCC110556, 0xA091, 0x4D38, {0x9F, 0xEC, 0x25, 0xAB, 0x9A, 0x35, 0x1A, 0x6A}};

constexpr std::uint32_t row_of(std::uint32_t token) noexcept {
    return token & 0xFFFFFF;
}

void copy(const md_region& blob, std::vector<std::uint8_t>& bytes) {
    bytes.assign(blob.data(), blob.data() + blob.size());
}

// --- What is answered of a sequence point, made of its record and those before it.

struct offset_of_point {
    std::uint32_t document = 0;
    std::uint32_t il_offset = 0;

    point_writer<1>::row hidden(std::uint32_t il_step) noexcept { return {il_offset += il_step}; }
    point_writer<1>::row visible(const sequence_point_record& record) noexcept { return hidden(record.il_offset); }
};

struct range_of_point {
    std::uint32_t document = 0;
    std::uint32_t start_line = 0;
    std::uint32_t start_column = 0;

    point_writer<5>::row hidden(std::uint32_t) const noexcept { return {document, hidden_line, 0, hidden_line, 0}; }
    point_writer<5>::row visible(const sequence_point_record& record) noexcept {
        start_line += record.start_line;
        start_column += record.start_column;
        return {document, start_line, start_column, start_line + record.lines, start_column + record.columns};
    }
};

// Source Link belongs to the module as a whole.
void require_module(md_token<idx_HasCustomDebugInformation> token) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::ppdb_module_data::get_source_server_data(class std::vector<unsigned "
        "char,class std::allocator<unsigned char> > &)",
        source};
    const table_row parent = decode(token);
    if (parent.table != md_Module::number) throw_error("Invalid parent index type", here);
    if (parent.row != 1) throw_error("Invalid parent index rid", here);
}

// --- Names of documents (Portable PDB format, "Document Name Blob").

[[noreturn]] void fail_conversion() {
    throw std::range_error("bad conversion");
}

// UTF-16 surrogates that were encoded one by one are no UTF-8 (RFC 3629, 3), and the name could not be encoded again.
// In text that is otherwise well-formed the byte ED begins U+D000 to U+DFFF, the upper half of which are surrogates.
bool has_surrogate(std::string_view utf8) {
    return std::adjacent_find(utf8.begin(), utf8.end(), [](char first, char second) {
               return first == '\xED' && static_cast<unsigned char>(second) >= 0xA0;
           }) != utf8.end();
}

// The standard converter is deprecated without a successor; this is the only file that may use it (see the build).
std::wstring convert(std::string_view utf8) {
    try {
        // Some libraries let surrogates through.
        if (has_surrogate(utf8)) fail_conversion();
        // Yields UTF-16 code units whatever the width of wchar_t.
        std::wstring_convert<std::codecvt_utf8_utf16<wchar_t>> converter;
        return converter.from_bytes(utf8.data(), utf8.data() + utf8.size());
    } catch (const std::range_error&) {
        // Libraries word this differently; clients know one wording.
        fail_conversion();
    }
}

// The first character of the blob; a zero byte stands for no separator.
std::string_view read_separator(const md_region& blob, std::uint32_t& position) {
    const unsigned char* end = nullptr;
    const unsigned char* const begin = blob.read_char_utf8(position, &end);
    if (*begin == 0) return {};
    return {reinterpret_cast<const char*>(begin), static_cast<std::size_t>(end - begin)};
}

// Appends the name to `name`.
void read_document_name(const metadata_parser& parser, md_stream<blob_heap> index, std::wstring& name) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::ppdb_module_data::get_document(const unsigned int,class "
        "std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,struct _GUID "
        "&,class std::vector<unsigned char,class std::allocator<unsigned char> > &)",
        source};
    const md_region blob = parser.get_stream_data(index);
    std::uint32_t position = 0;
    const std::string_view separator = read_separator(blob, position);
    const std::wstring wide_separator = convert(separator);
    std::uint64_t length = 0;
    for (bool first = true; position != blob.size(); first = false) {
        const md_stream<blob_heap> part_index = {blob.read_compressed_unsigned(position)};
        if (!first) name += wide_separator;
        const md_region part = parser.get_stream_data(part_index);
        length += part.size() + (first ? 0 : separator.size());
        if (length > max_document_name) throw_error("Too long document name", here);
        name += convert(part.read_text_utf8());
    }
}

}  // namespace

metadata_container::metadata_container(std::shared_ptr<const unsigned char> bytes, std::uint64_t size)
    : bytes_(std::move(bytes)), parser_(size, bytes_.get()) {
    static constexpr throw_site here{
        "__cdecl qv::profiler::pdb_server::metadata_container::metadata_container(class std::vector<unsigned "
        "char,class std::allocator<unsigned char> > &&)",
        source};
    if (!parser_.pdb()) throw_error("Metadata doesn't containt PDB information", here);
}

metadata_container::metadata_container(std::vector<unsigned char>&& bytes)
    : metadata_container(std::make_shared<const std::vector<unsigned char>>(std::move(bytes))) {}

bool metadata_container::has_id(const GUID& guid, std::uint32_t stamp) const noexcept {
    const unsigned char* const id = parser_.pdb()->id.data();
    return std::memcmp(id, &guid, sizeof guid) == 0 && std::memcmp(id + sizeof guid, &stamp, sizeof stamp) == 0;
}

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

void ppdb_module_data::get_method_offsets(std::uint32_t method_token, point_values& offsets) {
    read_sequence_points<1>(container_->parser(), row_of(method_token), offset_of_point(), {&offsets});
}

void ppdb_module_data::get_method_ranges(std::uint32_t method_token, point_values& document_ids,
                                         point_values& start_lines, point_values& start_columns,
                                         point_values& end_lines, point_values& end_columns) {
    read_sequence_points<5>(container_->parser(), row_of(method_token), range_of_point(),
                            {&document_ids, &start_lines, &start_columns, &end_lines, &end_columns});
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
