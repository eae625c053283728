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

// Columns of an answer, one value in each for every point. Filled through a block that is handed on when it is full.
template <std::size_t Columns>
class point_columns {
public:
    using row = std::array<std::uint32_t, Columns>;
    using vectors = std::array<std::vector<std::uint32_t>*, Columns>;

    // Clears the vectors.
    explicit point_columns(const vectors& outputs) : outputs_(outputs) {
        for (auto* output : outputs_) output->clear();
    }

    std::size_t size() const noexcept { return size_; }
    bool full() const noexcept { return size_ == block_size; }

    // Into a block that is not full.
    void append(const row& values) noexcept { set(size_++, values); }

    // For a loop that counts by itself: sets row `index` of the block, and then tells how many there are.
    static constexpr std::size_t block_size = 64;
    void set(std::size_t index, const row& values) noexcept {
        for (std::size_t i = 0; i < Columns; ++i) block_[i][index] = values[i];
    }
    void resize(std::size_t size) noexcept { size_ = size; }

    // Hands on what is in the block.
    void flush() {
        for (std::size_t i = 0; i < Columns; ++i)
            outputs_[i]->insert(outputs_[i]->end(), block_[i].begin(),
                                block_[i].begin() + static_cast<std::ptrdiff_t>(size_));
        size_ = 0;
    }

private:
    const vectors outputs_;
    std::array<std::array<std::uint32_t, block_size>, Columns> block_;
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

// Reads records whose numbers have one byte each, of eight bytes that are loaded at once, as long as such records
// follow the first visible point and the block has room. Returns where they end.
template <class Answer, class Columns>
const unsigned char* read_short_records(const unsigned char* at, const unsigned char* end, Answer& answer,
                                        Columns& columns) noexcept {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t longer = 0x80'80'80'80'80;  // the bits of the five bytes that say that others follow
    constexpr std::uint64_t hidden = 0xFF'FF'80;        // the same of the first, and the two numbers that are then 0
    Answer sums = answer;                               // so that it may stay in registers
    std::size_t index = columns.size();
    for (std::uint64_t bytes = 0; end - at >= 8 && index < columns.block_size; ++index) {
        count_work(1);
        std::memcpy(&bytes, at, sizeof bytes);
        const auto number = [bytes](unsigned i) { return static_cast<std::uint32_t>(bytes >> 8 * i & 0xFF); };
        if (number(0) == 0) break;  // the record of a document
        if ((bytes & hidden) == 0) {
            columns.set(index, sums.hidden(number(0)));
            at += 3;
        } else if ((bytes & longer) == 0) {
            const std::uint32_t width = number(1) == 0 ? number(2) : short_signed[number(2)];
            columns.set(index,
                        sums.visible({number(0), number(1), width, short_signed[number(3)], short_signed[number(4)]}));
            at += 5;
        } else {
            break;
        }
    }
    columns.resize(index);
    answer = sums;
    return at;
}

// The same of a blob. Of its last bytes no eight can be loaded: they are read in a copy that goes on with bytes of
// which no short record is made.
template <class Answer, class Columns>
std::uint32_t read_short_records(std::span<const unsigned char> rest, Answer& answer, Columns& columns) noexcept {
    const unsigned char* const end = rest.data() + rest.size();
    const unsigned char* const at = read_short_records(rest.data(), end, answer, columns);
    auto done = static_cast<std::size_t>(at - rest.data());
    if (const std::size_t left = rest.size() - done; left < 8) {
        std::array<unsigned char, 16> last;
        last.fill(0xFF);
        std::memcpy(last.data(), at, left);
        done += static_cast<std::size_t>(read_short_records(last.data(), last.data() + last.size(), answer, columns) -
                                         last.data());
    }
    return static_cast<std::uint32_t>(done);
}

}  // namespace detail

// Appends a row to `columns` for each sequence point of the method in blob order; the method is given by its row. What
// the row holds is up to `answer`: it makes one of a record, answer.visible(record), and of a hidden point's IL offset,
// answer.hidden(il_offset), and knows the row of the point's document by its member `document`. It is cheap to copy. A
// PDB without debug information for methods has no points. Throws what the metadata reader throws.
template <class Answer, class Columns>
void read_sequence_points(const metadata::detail_metadata::metadata_parser& parser, std::uint32_t method_row,
                          Answer answer, Columns& columns) {
    using namespace metadata::detail_metadata;
    const accessor rows(parser);
    if (rows.get_row_count<md_MethodDebugInformation>() == 0) return;
    const auto index = rows.get_field_value<md_MethodDebugInformation, fld_SequencePoints>(method_row);
    const md_region blob = parser.get_stream_data(index);
    if (blob.size() == 0) return;
    const auto document = rows.get_field_value<md_MethodDebugInformation, fld_Document>(method_row);

    auto state = detail::begin_sequence_points(blob, document.value);
    // A blob always has a first point: one that ends after its header fails.
    while (state.first || state.position != blob.size()) {
        if (columns.full()) columns.flush();
        if (!state.first_visible) {
            state.position += detail::read_short_records(blob.rest(state.position), answer, columns);
            if (columns.full() || state.position == blob.size()) continue;
        }
        const auto next = detail::read_sequence_point(blob, state);
        state = next.state;
        answer.document = state.document;
        columns.append(next.record.hidden() ? answer.hidden(next.record.il_offset) : answer.visible(next.record));
    }
    columns.flush();
}

}  // namespace qv::profiler::pdb_server
