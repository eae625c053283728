#include "tests/support/builders/metadata_builder.h"

namespace qv::test {

const std::map<unsigned, std::string_view>& table_columns() {
    static const std::map<unsigned, std::string_view> all = {
        {0x00, "2sggg"},     {0x01, "Uss"},  {0x02, "4ssJgg"}, {0x04, "2sb"},       {0x06, "422sbG"}, {0x08, "22s"},
        {0x09, "BJ"},        {0x0A, "Osb"},  {0x0B, "2Kb"},    {0x0C, "LTb"},       {0x0D, "Mb"},     {0x0E, "2Nb"},
        {0x0F, "24B"},       {0x10, "4D"},   {0x11, "b"},      {0x12, "BC"},        {0x14, "2sJ"},    {0x15, "BI"},
        {0x17, "2sb"},       {0x18, "2HP"},  {0x19, "BQQ"},    {0x1A, "s"},         {0x1B, "b"},      {0x1C, "2RsF"},
        {0x1D, "4D"},        {0x1E, "44"},   {0x1F, "4"},      {0x20, "422224bss"}, {0x21, "4"},      {0x22, "444"},
        {0x23, "22224bssb"}, {0x24, "4A"},   {0x25, "444A"},   {0x26, "4sb"},       {0x27, "4BssS"},  {0x28, "44sS"},
        {0x29, "BB"},        {0x2A, "22Vs"}, {0x2B, "Qb"},     {0x2C, "EJ"},        {0x30, "bgbg"},   {0x31, "Wb"},
        {0x32, "HXYZ44"},    {0x33, "22s"},  {0x34, "sb"},     {0x35, "Xb"},        {0x36, "HH"},     {0x37, "[gb"},
    };
    return all;
}

std::uint32_t metadata_builder::string(std::string_view text) {
    const auto index = static_cast<std::uint32_t>(strings_.size());
    strings_.insert(strings_.end(), text.begin(), text.end());
    strings_.push_back(0);
    return index;
}

std::uint32_t metadata_builder::blob(const bytes& content) {
    return raw_blob(byte_writer().packed(static_cast<std::uint32_t>(content.size())).append(content).data());
}

std::uint32_t metadata_builder::raw_blob(const bytes& content) {
    const auto index = static_cast<std::uint32_t>(blobs_.size());
    blobs_.insert(blobs_.end(), content.begin(), content.end());
    return index;
}

std::uint32_t metadata_builder::guid(const GUID& value) {
    guids_ = byte_writer().append(guids_).guid(value).data();
    return static_cast<std::uint32_t>(guids_.size() / sizeof value);
}

metadata_builder& metadata_builder::add_row(unsigned table, row values) {
    tables_[table].push_back(std::move(values));
    return *this;
}

metadata_builder& metadata_builder::add_rows(unsigned table, std::uint32_t count) {
    auto& rows = tables_[table];
    rows.resize(rows.size() + count);
    return *this;
}

metadata_builder& metadata_builder::pdb(const GUID& guid, std::uint32_t stamp,
                                        const std::map<unsigned, std::uint32_t>& referenced) {
    std::uint64_t mask = 0;
    for (const auto& [table, rows] : referenced) mask |= std::uint64_t{1} << table;
    byte_writer out;
    out.guid(guid).u32(stamp).u32(0).u64(mask);
    for (const auto& [table, rows] : referenced) out.u32(rows);
    pdb_stream_ = out.data();
    return *this;
}

metadata_builder& metadata_builder::version(std::string text) {
    version_ = std::move(text);
    return *this;
}

metadata_builder& metadata_builder::table_stream_name(std::string name) {
    table_stream_name_ = std::move(name);
    return *this;
}

metadata_builder& metadata_builder::stream(std::string name, bytes content) {
    streams_.emplace_back(std::move(name), std::move(content));
    return *this;
}

unsigned metadata_builder::column_width(char column) const {
    switch (column) {
        case 's': return (heap_sizes_ & 1) != 0 ? 4 : 2;
        case 'g': return (heap_sizes_ & 2) != 0 ? 4 : 2;
        case 'b': return (heap_sizes_ & 4) != 0 ? 4 : 2;
        default: break;
    }
    if (column >= '1' && column <= '9') return static_cast<unsigned>(column - '0');
    return wide_.count(static_cast<unsigned>(column - 'A')) != 0 ? 4 : 2;
}

void metadata_builder::write_rows(byte_writer& out, unsigned table, const std::vector<row>& rows) const {
    const std::string_view columns = table_columns().at(table);
    for (const row& values : rows)
        for (std::size_t i = 0; i < columns.size(); ++i)
            out.integer(i < values.size() ? values[i] : 0, column_width(columns[i]));
}

bytes metadata_builder::table_stream() const {
    std::uint64_t valid = 0;
    for (const auto& [table, rows] : tables_)
        if (!rows.empty()) valid |= std::uint64_t{1} << table;
    byte_writer out;
    out.u32(0).u8(2).u8(0).u8(heap_sizes_).u8(1).u64(valid).u64(0);
    for (const auto& [table, rows] : tables_)
        if (!rows.empty()) out.u32(rows.size());
    if ((heap_sizes_ & 0x40) != 0) out.u32(0);
    for (const auto& [table, rows] : tables_) write_rows(out, table, rows);
    return out.align(4).data();
}

bytes metadata_builder::build() const {
    std::vector<std::pair<std::string, bytes>> streams = streams_;
    if (!pdb_stream_.empty()) streams.emplace_back("#Pdb", pdb_stream_);
    if (!table_stream_name_.empty()) streams.emplace_back(table_stream_name_, table_stream());
    streams.emplace_back("#Strings", byte_writer().append(strings_).align(4).data());
    streams.emplace_back("#GUID", guids_);
    streams.emplace_back("#Blob", byte_writer().append(blobs_).align(4).data());

    const auto header_size = [](const std::string& name) { return 8 + (name.size() + 4) / 4 * 4; };
    byte_writer out;
    out.u32(0x424A5342).u16(1).u16(1).u32(0).u32(version_.size()).text(version_).align(4);
    out.u8(0).u8(0).u16(streams.size());
    std::size_t offset = out.size();
    for (const auto& [name, content] : streams) offset += header_size(name);
    for (const auto& [name, content] : streams) {
        out.u32(offset).u32(content.size()).text(name).u8(0).align(4);
        offset += content.size();
    }
    for (const auto& [name, content] : streams) out.append(content);
    return out.data();
}

metadata_builder image_metadata(const GUID& mvid, std::uint32_t methods) {
    metadata_builder block;
    block.version(std::string("v4.0.30319\0\0", 12));
    block.add_row(0x00, {0, block.string("Module.dll"), block.guid(mvid)});
    block.add_rows(0x06, methods);
    return block;
}

}  // namespace qv::test
