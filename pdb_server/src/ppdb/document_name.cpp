#include "pdb_server/src/ppdb/document_name.h"

#include <algorithm>
#include <codecvt>
#include <locale>
#include <stdexcept>
#include <string_view>

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server {
namespace {

using metadata::detail_metadata::blob_heap;
using metadata::detail_metadata::md_region;
using metadata::detail_metadata::md_stream;
using metadata::detail_metadata::metadata_parser;

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

}  // namespace

void read_document_name(const metadata_parser& parser, md_stream<blob_heap> index, std::wstring& name) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::ppdb_module_data::get_document(const unsigned int,class "
        "std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,struct _GUID "
        "&,class std::vector<unsigned char,class std::allocator<unsigned char> > &)",
        "pdb_server/src/pdb_processor_ppdb"};
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

}  // namespace qv::profiler::pdb_server
