#include "tests/support/builders/portable_pdb_builder.h"

#include <optional>

namespace qv::test {
namespace {

std::uint32_t optional_guid(metadata_builder& metadata, const GUID& value) {
    return value == GUID{} ? 0 : metadata.guid(value);
}

}  // namespace

bytes sequence_point_records(const std::vector<point>& points) {
    const auto distance = [](std::uint32_t from, std::uint32_t to) { return static_cast<std::int32_t>(to - from); };
    byte_writer out;
    std::optional<point> visible;
    std::uint32_t il_offset = 0;
    for (const point& item : points) {
        out.packed(item.il_offset - il_offset);
        il_offset = item.il_offset;
        if (item.start_line == hidden) {
            out.packed(0).packed(0);
            continue;
        }
        const std::uint32_t lines = item.end_line - item.start_line;
        out.packed(lines);
        if (lines == 0)
            out.packed(item.end_column - item.start_column);
        else
            out.packed_signed(distance(item.start_column, item.end_column));
        if (visible)
            out.packed_signed(distance(visible->start_line, item.start_line))
                .packed_signed(distance(visible->start_column, item.start_column));
        else
            out.packed(item.start_line).packed(item.start_column);
        visible = item;
    }
    return out.data();
}

std::uint32_t portable_pdb_builder::document(std::string_view path, const GUID& algorithm, const bytes& hash) {
    const std::uint32_t name_index = metadata_.blob(byte_writer().u8('/').packed(metadata_.blob(path)).data());
    const std::uint32_t hash_index = hash.empty() ? 0 : metadata_.blob(hash);
    metadata_.add_row(0x30, {name_index, optional_guid(metadata_, algorithm), hash_index});
    return metadata_.row_count(0x30);
}

std::uint32_t portable_pdb_builder::document_with_name(const bytes& name_blob) {
    metadata_.add_row(0x30, {metadata_.blob(name_blob)});
    return metadata_.row_count(0x30);
}

std::uint32_t portable_pdb_builder::method(std::uint32_t document, const std::vector<point>& points) {
    return method_with_blob(
        document, points.empty() ? bytes() : byte_writer().packed(0).append(sequence_point_records(points)).data());
}

std::uint32_t portable_pdb_builder::method_with_blob(std::uint32_t document, const bytes& sequence_points) {
    metadata_.add_row(0x31, {document, metadata_.blob(sequence_points)});
    return metadata_.row_count(0x31);
}

std::uint32_t portable_pdb_builder::custom(std::uint32_t parent, const GUID& kind, const bytes& value) {
    metadata_.add_row(0x37, {parent, optional_guid(metadata_, kind), metadata_.blob(value)});
    return metadata_.row_count(0x37);
}

std::uint32_t portable_pdb_builder::source_link(std::string_view json) {
    return custom(module_parent, source_link_kind, bytes(json.begin(), json.end()));
}

}  // namespace qv::test
