// Decodes the sequence points of a method (Portable PDB format, "Sequence Points Blob").
//
// A blob is read record by record, and what is asked of the points is made of the records as they come. Nearly all
// records consist of numbers of one byte: runs of these are read by a loop that does nothing else. All other records,
// and all that are cut off, go byte by byte through md_region.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "base/work_counter.h"
#include "qv/metadata/metadata.h"

namespace qv::profiler::pdb_server {

// The numbers of one point: how far it is behind the point before it or, for lines and columns of its start, behind the
// visible point before it. The first ones count from 0. All sums of them wrap at 32 bits.
struct sequence_point_record {
    std::uint32_t il_offset;
    std::uint32_t lines;    // from the point's start to its end
    std::uint32_t columns;  // likewise
    std::uint32_t start_line;
    std::uint32_t start_column;

    // Belongs to no source line; all numbers but the IL offset are then 0.
    bool hidden() const noexcept { return (lines | columns) == 0; }
};

// Columns of an answer, one value in each for every point.
template <std::size_t Columns>
class point_columns {
public:
    using row = std::array<std::uint32_t, Columns>;
    using vectors = std::array<std::vector<std::uint32_t>*, Columns>;

    // Gives the vectors room for so many points. What they hold is not known until `finish`.
    point_columns(const vectors& outputs, std::size_t most) : outputs_(outputs) {
        for (std::size_t i = 0; i < Columns; ++i) {
            outputs_[i]->resize(most);
            values_[i] = outputs_[i]->data();
        }
    }

    // Not more often than there is room.
    void append(const row& values) noexcept {
        for (std::size_t i = 0; i < Columns; ++i) values_[i][size_] = values[i];
        ++size_;
    }

    // Cuts the vectors to the points that came.
    void finish() {
        for (auto* output : outputs_) output->resize(size_);
    }

private:
    vectors outputs_;
    std::array<std::uint32_t*, Columns> values_;
    std::size_t size_ = 0;
};

namespace detail {

using metadata::detail_metadata::md_region;

// The signed numbers of one byte.
inline constexpr auto short_signed = [] {
    std::array<std::uint32_t, 0x80> numbers{};
    for (std::uint32_t i = 0; i < numbers.size(); ++i) numbers[i] = metadata::detail_metadata::compressed_signed(i, 1);
    return numbers;
}();

// The columns from start to end, in one byte: signed unless the point ends on the line of its start.
inline constexpr auto short_columns = [] {
    std::array<std::array<std::uint32_t, 0x80>, 2> numbers{};
    for (std::uint32_t i = 0; i < 0x80; ++i) numbers[0][i] = short_signed[i], numbers[1][i] = i;
    return numbers;
}();

inline constexpr std::size_t shortest_record = 3;  // bytes: of a hidden point

// How much of a blob has been read, and what the next record depends on.
struct sequence_point_state {
    std::uint32_t position = 0;
    std::uint32_t document = 0;  // row of the Document table
    bool first = true;           // no point has been read
    bool first_visible = true;   // no point with lines has been read
};

struct read_record {
    sequence_point_state state;
    sequence_point_record record;
};

// Reads the blob's header.
sequence_point_state begin_sequence_points(const md_region& blob, std::uint32_t document);

// Reads the next record, and the document records before it: every byte is checked.
read_record read_sequence_point(const md_region& blob, sequence_point_state state);

// The next eight bytes of a blob, the first of them lowest. Where it ends before, they go on with bytes of which no
// short record is made.
inline std::uint64_t next_bytes(const unsigned char* at, const unsigned char* end) noexcept {
    static_assert(std::endian::native == std::endian::little);
    std::uint64_t bytes = ~std::uint64_t{0};
    if (end - at >= 8)
        std::memcpy(&bytes, at, 8);
    else
        for (const unsigned char* last = end; last != at;) bytes = bytes << 8 | *--last;
    return bytes;
}

// Appends what records of numbers of one byte tell, as long as such records follow the first visible point. Returns
// where they end.
template <class Answer, class Columns>
const unsigned char* read_short_records(const unsigned char* at, const unsigned char* end, Answer& answer,
                                        Columns& columns) noexcept {
    constexpr std::uint64_t longer = 0x80'80'80'80'80;  // the bits of the five bytes that say that others follow
    constexpr std::uint64_t hidden = 0xFF'FF'80;        // the same of the first, and the two numbers that are then 0
    Answer sums = answer;                               // both copied so that they may stay in registers
    Columns out = columns;
    for (;;) {
        count_work(1);
        const std::uint64_t bytes = next_bytes(at, end);
        const auto number = [bytes](unsigned i) { return static_cast<std::uint32_t>(bytes >> 8 * i & 0xFF); };
        if (number(0) == 0) break;  // the record of a document
        if ((bytes & hidden) == 0) {
            out.append(sums.hidden(number(0)));
            at += 3;
        } else if ((bytes & longer) == 0) {
            out.append(sums.visible({number(0), number(1), short_columns[number(1) == 0][number(2)],
                                     short_signed[number(3)], short_signed[number(4)]}));
            at += 5;
        } else {
            break;
        }
    }
    answer = sums;
    columns = out;
    return at;
}

}  // namespace detail

// Fills `outputs` with a row for each sequence point of the method in blob order; the method is given by its row. What
// the row holds is up to `answer`: it makes one of a record, answer.visible(record), and of a hidden point's IL offset,
// answer.hidden(il_offset), and knows the row of the point's document by its member `document`. It is cheap to copy. A
// PDB without debug information for methods has no points. Throws what the metadata reader throws; what is in `outputs`
// then is not known.
template <std::size_t Columns, class Answer>
void read_sequence_points(const metadata::detail_metadata::metadata_parser& parser, std::uint32_t method_row,
                          Answer answer, const typename point_columns<Columns>::vectors& outputs) {
    using namespace metadata::detail_metadata;
    const auto answer_nothing = [&] {
        for (auto* output : outputs) output->clear();
    };
    const accessor rows(parser);
    if (rows.get_row_count<md_MethodDebugInformation>() == 0) return answer_nothing();
    const auto index = rows.get_field_value<md_MethodDebugInformation, fld_SequencePoints>(method_row);
    const md_region blob = parser.get_stream_data(index);
    if (blob.size() == 0) return answer_nothing();
    const auto document = rows.get_field_value<md_MethodDebugInformation, fld_Document>(method_row);

    auto state = detail::begin_sequence_points(blob, document.value);
    point_columns<Columns> columns(outputs, blob.size() / detail::shortest_record);
    // A blob always has a first point: one that ends after its header fails.
    while (state.first || state.position != blob.size()) {
        const auto next = detail::read_sequence_point(blob, state);
        state = next.state;
        answer.document = state.document;
        columns.append(next.record.hidden() ? answer.hidden(next.record.il_offset) : answer.visible(next.record));
        if (state.first_visible) continue;
        const auto rest = blob.rest(state.position);
        const auto* const end = detail::read_short_records(rest.data(), rest.data() + rest.size(), answer, columns);
        state.position += static_cast<std::uint32_t>(end - rest.data());
    }
    columns.finish();
}

}  // namespace qv::profiler::pdb_server
