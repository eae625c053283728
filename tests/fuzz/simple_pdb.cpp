#include "tests/fuzz/simple_pdb.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "tests/support/builders/portable_pdb_builder.h"

namespace qv::fuzz {
namespace {

constexpr std::size_t longest_name = 1u << 20;

[[noreturn]] void fail(const char* message) {
    throw std::runtime_error(message);
}

region part(region whole, std::uint64_t offset, std::uint64_t size) {
    if (offset + size > whole.size()) fail("Out of arent region");
    return whole.subspan(offset, size);
}

struct cursor {
    region data;
    std::uint64_t position = 0;

    region take(std::uint64_t count) {
        if (position + count > data.size()) fail("End of region");
        position += count;
        return data.subspan(position - count, count);
    }

    std::uint64_t integer(unsigned width) {
        std::uint64_t value = 0;
        std::memcpy(&value, take(width).data(), width);
        return value;
    }

    std::uint32_t compressed() {
        const std::uint64_t lead = integer(1);
        if (lead < 0x80) return static_cast<std::uint32_t>(lead);
        std::uint64_t value = lead & (lead < 0xC0 ? 0x3F : 0x1F);
        for (int more = lead < 0xC0 ? 1 : 3; more != 0; --more) value = value << 8 | integer(1);
        return static_cast<std::uint32_t>(value);
    }

    // The lowest bit of the number is its sign; a negative number is the others less the range of its length.
    std::uint32_t compressed_signed() {
        const std::uint64_t before = position;
        const std::uint32_t raw = compressed();
        const std::uint64_t length = position - before;
        const std::uint32_t range = length == 1 ? 1u << 6 : length == 2 ? 1u << 13 : 1u << 28;
        return (raw >> 1) - ((raw & 1) != 0 ? range : 0);
    }

    region character() {
        const unsigned char lead = take(1)[0];
        if (lead >= 0x80 && lead < 0xC0) fail("Unexpected UTF8 slave symbol at master position");
        if (lead >= 0xFE) fail("Invalid UTF8 master symbol");
        --position;
        return take(lead < 0x80 ? 1 : static_cast<unsigned>(std::countl_one(lead)));
    }

    // What comes before the next zero byte. The characters are walked up to one that is zero, which may come later.
    std::string text() {
        cursor walk = *this;
        while (walk.character()[0] != 0) continue;
        const region rest = data.subspan(position);
        return {rest.begin(), std::find(rest.begin(), rest.end(), 0)};
    }
};

std::uint64_t integer_at(region record, std::uint64_t offset, unsigned width) {
    return cursor{record, offset}.integer(width);
}

GUID guid_of(region bytes) {
    GUID result;
    std::memcpy(&result, bytes.data(), sizeof result);
    return result;
}

void read_counts(cursor& from, std::uint64_t present, std::array<std::uint32_t, 64>& counts) {
    for (unsigned table = 0; table < 64; ++table)
        if ((present >> table & 1) != 0) counts[table] = static_cast<std::uint32_t>(from.integer(4));
}

// Of well-formed UTF-8 (Unicode 3.9, table 3-7).
std::wstring utf16(region text) {
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000, ~0u, ~0u};
    std::wstring result;
    for (cursor at{text}; at.position != text.size();) {
        const region units = at.character();
        std::uint32_t code = units[0] & (units.size() == 1 ? 0x7Fu : 0x7Fu >> units.size());
        for (const unsigned char unit : units.subspan(1)) {
            if ((unit & 0xC0) != 0x80) fail("bad conversion");
            code = code << 6 | (unit & 0x3F);
        }
        if (code < least[units.size()] || code > 0x10FFFF || code >> 11 == 0x1B) fail("bad conversion");
        if (code >= 0x10000) result += static_cast<wchar_t>(0xD7C0 + (code >> 10));
        result += static_cast<wchar_t>(code < 0x10000 ? code : 0xDC00 | (code & 0x3FF));
    }
    return result;
}

// The index kinds in the order of the letters of columns: how many bits say which table, and the tables' numbers.
constexpr const char* kinds =
    "0 23,0 02,0 14,0 04,0 2A,0 1A,0 08,0 06,0 17,2 02 01 1B,2 04 08 17,"
    "5 06 04 01 02 08 09 0A 00 0E 17 14 11 1A 1B 20 23 26 27 28 2A 2C 2B,1 04 08,2 02 06 20,3 02 01 1A 06 1B,"
    "1 14 17,1 06 0A,1 04 06,2 26 23 27,3 06 0A,2 00 1A 23 01,1 02 06,0 30,0 35,0 33,0 34,"
    "5 06 04 01 02 08 09 0A 00 0E 17 14 11 1A 1B 20 23 26 27 28 2A 2C 2B 30 32 33 34 35";

}  // namespace

simple_pdb::simple_pdb(region file) {
    cursor at{file};
    const region signature = at.take(16);
    if (integer_at(signature, 0, 4) != 0x424A5342) fail("Invalid metadata signature");
    const std::uint64_t version = integer_at(signature, 12, 4);
    cursor{part(file, 16, version)}.text();
    at.position = 16 + (version + 3) / 4 * 4;

    std::map<std::string, region> streams;
    for (std::uint64_t left = integer_at(at.take(4), 2, 2); left != 0; --left) {
        const region header = at.take(8);
        std::string name = at.text();
        at.position += (name.size() + 4) / 4 * 4;
        if (name == "#-") name = "#~";
        if (name == "#~" || name == "#GUID" || name == "#Blob" || name == "#Strings" || name == "#Pdb")
            streams[name] = part(file, integer_at(header, 0, 4), integer_at(header, 4, 4));
    }
    guids_ = streams["#GUID"];
    blobs_ = streams["#Blob"];

    if (streams["#~"].empty()) fail("No #~ stream");
    cursor tables{streams["#~"]};
    const region table_header = tables.take(24);
    const unsigned heap_sizes = table_header[6];
    read_counts(tables, integer_at(table_header, 8, 8), counts_);
    if ((heap_sizes & 0x40) != 0) tables.take(4);

    row_counts reached = counts_;
    const bool is_pdb = streams.contains("#Pdb");
    if (is_pdb) {
        cursor pdb{streams["#Pdb"]};
        const region pdb_header = pdb.take(32);
        guid_ = guid_of(pdb_header);
        stamp_ = static_cast<std::uint32_t>(integer_at(pdb_header, 16, 4));
        row_counts referenced{};
        read_counts(pdb, integer_at(pdb_header, 24, 8), referenced);
        std::copy_n(referenced.begin(), 0x30, reached.begin());
    }
    find_widths(heap_sizes, reached);
    place_tables(streams["#~"], tables.position);
    if (!is_pdb) fail("Metadata doesn't containt PDB information");
}

void simple_pdb::find_widths(unsigned heap_sizes, const row_counts& reached) {
    for (unsigned i = 1; i <= 9; ++i) widths_[static_cast<char>('0' + i)] = i;
    for (unsigned i = 0; i < 3; ++i) widths_["sgb"[i]] = (heap_sizes >> i & 1) != 0 ? 4 : 2;
    std::istringstream all(kinds);
    char letter = 'A';
    for (std::string kind; std::getline(all, kind, ','); ++letter) {
        std::istringstream words(kind);
        unsigned bits = 0;
        std::uint32_t most = 0;
        words >> bits >> std::hex;
        for (unsigned table; words >> table;) most = std::max(most, reached[table]);
        widths_[letter] = most << bits > 0xFFFF ? 4 : 2;
    }
}

void simple_pdb::place_tables(region stream, std::uint64_t position) {
    for (const auto& [table, layout] : test::table_columns()) {
        std::uint64_t size = 0;
        for (const char column : layout) size += widths_[column];
        size *= counts_[table];
        if (size == 0) continue;
        tables_[table] = part(stream, position, size);
        position += size;
    }
}

std::uint32_t simple_pdb::field(unsigned table, std::uint32_t row, std::size_t column) const {
    if (row == 0) fail("Zero table index");
    if (row > counts_[table]) fail("Too large table index");
    const region rows = tables_.at(table);
    std::uint64_t offset = rows.size() / counts_[table] * (row - 1);
    const std::string_view layout = test::table_columns().at(table);
    for (const char before : layout.substr(0, column)) offset += widths_.at(before);
    return static_cast<std::uint32_t>(integer_at(rows, offset, widths_.at(layout[column])));
}

GUID simple_pdb::guid(std::uint32_t index) const {
    if (index == 0) fail("Zero #GUID stream index");
    return guid_of(cursor{guids_, (index - std::uint64_t{1}) * 16}.take(16));
}

region simple_pdb::blob(std::uint32_t index) const {
    cursor at{blobs_, index};
    const std::uint32_t size = at.compressed();
    return part(blobs_, at.position, size);
}

void simple_pdb::get_points(std::uint32_t row, columns& points) const {
    points = {};
    if (counts_[0x31] == 0) return;
    cursor at{blob(field(0x31, row, 1))};
    if (at.data.empty()) return;
    std::uint32_t file = field(0x31, row, 0);
    at.compressed();  // the signature of the local variables
    if (file == 0) file = at.compressed();

    std::uint32_t offset = 0;
    std::uint32_t line = 0;
    std::uint32_t column = 0;
    bool any_visible = false;
    do {
        std::uint32_t step = at.compressed();
        for (; step == 0 && !points[0].empty(); step = at.compressed()) file = at.compressed();
        offset += step;
        const std::uint32_t lines = at.compressed();
        const std::uint32_t width = lines == 0 ? at.compressed() : at.compressed_signed();
        std::array<std::uint32_t, 6> point = {offset, file, 0xFEEFEE, 0, 0xFEEFEE, 0};
        if (lines != 0 || width != 0) {
            line += any_visible ? at.compressed_signed() : at.compressed();
            column += any_visible ? at.compressed_signed() : at.compressed();
            any_visible = true;
            point = {offset, file, line, column, line + lines, column + width};
        }
        for (std::size_t i = 0; i < point.size(); ++i) points[i].push_back(point[i]);
    } while (at.position != at.data.size());
}

std::wstring simple_pdb::get_name(region name) const {
    cursor at{name};
    region separator = at.character();
    if (separator[0] == 0) separator = {};
    const std::wstring between = utf16(separator);
    std::wstring result;
    std::size_t length = 0;
    for (bool first = true; at.position != at.data.size(); first = false) {
        const region text = blob(at.compressed());
        length += text.size() + (first ? 0 : separator.size());
        if (length > longest_name) fail("Too long document name");
        for (cursor walk{text}; walk.position != walk.data.size();) walk.character();
        result += (first ? L"" : between) + utf16(text);
    }
    return result;
}

void simple_pdb::get_document(std::uint32_t row, document& answer) const {
    answer.url.clear();
    answer.checksum.clear();
    if (counts_[0x30] == 0) return;
    answer.url = get_name(blob(field(0x30, row, 0)));
    const std::uint32_t algorithm = field(0x30, row, 1);
    answer.algorithm = algorithm == 0 ? GUID{} : guid(algorithm);
    const region checksum = blob(field(0x30, row, 2));
    answer.checksum.assign(checksum.begin(), checksum.end());
}

void simple_pdb::get_source_link(std::vector<unsigned char>& answer) const {
    answer.clear();
    for (std::uint32_t row = 1; row <= counts_[0x37]; ++row) {
        if (guid(field(0x37, row, 1)) != test::source_link_kind) continue;
        const std::uint32_t parent = field(0x37, row, 0);
        if ((parent & 31) != 7) fail("Invalid parent index type");
        if (parent >> 5 != 1) fail("Invalid parent index rid");
        const region value = blob(field(0x37, row, 2));
        return answer.assign(value.begin(), value.end());
    }
}

}  // namespace qv::fuzz
