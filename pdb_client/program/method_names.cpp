#include "pdb_client/program/method_names.h"

#include <algorithm>
#include <array>
#include <exception>

#include "base/exception.h"
#include "core/bridge_protocol.h"
#include "qv/metadata/metadata.h"

namespace qv::profiler::pdb_client {
namespace {

using namespace metadata::detail_metadata;

constexpr std::size_t max_name = 1023;  // bytes; the runtime loads none that is longer
constexpr std::size_t max_depth = 16;   // of nested types; a name longer than all reason is none

// The reader takes these two for granted; with others it would find every later table at a wrong place.
bool is_laid_out_as_read(const metadata_parser& parser) {
    constexpr std::array<unsigned, 5> pointer_tables = {0x03, 0x05, 0x07, 0x13, 0x16};
    const auto is_used = [&](unsigned table) { return parser.row_count(table) != 0; };
    if (std::any_of(pointer_tables.begin(), pointer_tables.end(), is_used)) return false;
    const md_modes& modes = parser.modes();
    const unsigned char list_width = modes.heaps[guid_heap - 1];
    return modes.indexes[idx_Field] == list_width && modes.indexes[idx_MethodDef] == list_width;
}

// The type of each method, by row - 1. A type has the methods from its first one up to the first one of the next type.
std::vector<std::uint32_t> read_types_of_methods(const metadata_parser& parser) {
    const accessor rows(parser);
    std::vector<std::uint32_t> types(rows.get_row_count<md_MethodDef>());
    for (std::uint32_t type = 1; type <= rows.get_row_count<md_TypeDef>(); ++type) {
        const std::uint32_t first = rows.get_field_value<md_TypeDef, fld_MethodList>(type).index;
        if (first != 0 && first <= types.size()) types[first - 1] = type;
    }
    for (std::size_t i = 1; i < types.size(); ++i)
        if (types[i] == 0) types[i] = types[i - 1];
    return types;
}

// The type around each type, by row - 1; 0 for those that are not nested.
std::vector<std::uint32_t> read_enclosing_types(const metadata_parser& parser) {
    const accessor rows(parser);
    std::vector<std::uint32_t> enclosing(rows.get_row_count<md_TypeDef>());
    for (std::uint32_t row = 1; row <= rows.get_row_count<md_NestedClass>(); ++row) {
        const std::uint32_t nested = rows.get_field_value<md_NestedClass, fld_NestedClass>(row).value;
        if (nested != 0 && nested <= enclosing.size())
            enclosing[nested - 1] = rows.get_field_value<md_NestedClass, fld_EnclosingClass>(row).value;
    }
    return enclosing;
}

std::uint32_t read_parameter_count(const md_region& signature) {
    constexpr unsigned char generic = 0x10;
    std::uint32_t position = 0;
    if ((signature.read_value<unsigned char>(position) & generic) != 0) signature.read_compressed_unsigned(position);
    return signature.read_compressed_unsigned(position);
}

std::string with_dots(std::string name) {
    std::replace(name.begin(), name.end(), '+', '.');
    return name;
}

enum class fit { none, part, end, whole };

// How well a text fits a name; both have dots for "+".
fit fit_of(std::string_view text, std::string_view name) {
    if (name == text) return fit::whole;
    const std::size_t found = name.rfind(text);
    if (found == name.npos) return fit::none;
    const bool is_end = found + text.size() == name.size();
    return is_end && (text.starts_with('.') || name[found - 1] == '.') ? fit::end : fit::part;
}

}  // namespace

struct method_names::tables {
    explicit tables(std::vector<unsigned char> block)
        : bytes(std::move(block)), parser(bytes.size(), bytes.data()), rows(parser) {
        if (!is_laid_out_as_read(parser)) throw_error("Unknown layout of metadata tables");
        types = read_types_of_methods(parser);
        enclosing = read_enclosing_types(parser);
    }

    std::string_view text(md_stream<strings_heap> index) const {
        const md_region& heap = parser.strings();
        const md_region tail = heap.create_child(index.index, heap.size() - std::min(heap.size(), index.index));
        const auto* const begin = reinterpret_cast<const char*>(tail.data());
        const std::string_view all(begin, std::min<std::size_t>(tail.size(), max_name + 1));
        const std::size_t size = all.find('\0');
        if (size == all.npos) throw_error("Too long name");
        return all.substr(0, size);
    }

    std::string type_name(std::uint32_t type) const {
        std::vector<std::string_view> parts;
        std::uint32_t outer = type;
        for (; type != 0; type = enclosing[type - 1]) {
            if (parts.size() == max_depth) throw_error("Too deeply nested type");
            parts.push_back(text(rows.get_field_value<md_TypeDef, fld_TypeName>(type)));
            outer = type;
        }
        std::string name(text(rows.get_field_value<md_TypeDef, fld_TypeNamespace>(outer)));
        const char* separator = name.empty() ? "" : ".";
        for (auto part = parts.rbegin(); part != parts.rend(); ++part, separator = "+")
            name.append(separator).append(*part);
        return name;
    }

    std::string name_of(std::uint32_t row) const {
        if (types[row - 1] == 0) throw_error("Method of no type");
        std::string name = type_name(types[row - 1]);
        name += '.';
        name += text(rows.get_field_value<md_MethodDef, fld_Name>(row));
        const auto signature = rows.get_field_value<md_MethodDef, fld_Signature>(row);
        return name + "(" + std::to_string(read_parameter_count(parser.get_stream_data(signature))) + ")";
    }

    std::vector<unsigned char> bytes;
    metadata_parser parser;
    accessor rows;
    std::vector<std::uint32_t> types;
    std::vector<std::uint32_t> enclosing;
};

method_names::method_names(std::vector<unsigned char> metadata) {
    try {
        tables_ = std::make_shared<tables>(std::move(metadata));
    } catch (const std::exception&) {
        // Tokens do without.
    }
}

std::string method_names::name_of(std::uint32_t token) const {
    const std::uint32_t row = token & ~method_table;
    if (!tables_ || row == 0 || row > tables_->types.size()) return {};
    try {
        return tables_->name_of(row);
    } catch (const std::exception&) {
        return {};
    }
}

std::vector<std::uint32_t> method_names::find(std::string_view text) const {
    const std::string wanted = with_dots(std::string(text));
    const bool counts = wanted.ends_with(')');
    std::vector<std::uint32_t> found;
    fit best = fit::part;
    const auto rows = static_cast<std::uint32_t>(tables_ ? tables_->types.size() : 0);
    for (std::uint32_t row = 1; row <= rows; ++row) {
        std::string name = with_dots(name_of(method_table | row));
        if (!counts) name.erase(std::min(name.rfind('('), name.size()));
        const fit got = fit_of(wanted, name);
        if (got < best) continue;
        if (got > best) found.clear();
        best = got;
        found.push_back(method_table | row);
    }
    return found;
}

}  // namespace qv::profiler::pdb_client
