// Decodes the sequence points of a method (Portable PDB format, "Sequence Points Blob").
//
// A blob is read record by record, and what is asked of the points is made of the records as they come. Nearly all
// records consist of numbers of one byte: runs of these are read by a loop that does nothing else, and their bounds are
// checked once. All other records, and all that are cut off, go byte by byte through md_region.
#pragma once

#include <array>
#include <bit>
#include <boost/config.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

#include "base/work_counter.h"
#include "pdb_server/src/module_data.h"
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
using point_columns = std::array<point_values*, Columns>;

// Writes the rows of such columns; cheap to make and to copy.
template <std::size_t Columns>
class point_writer {
public:
    using row = std::array<std::uint32_t, Columns>;

    // Begins at the row `size`. The columns have room for all that comes, and stay where they are.
    point_writer(const point_columns<Columns>& columns, std::size_t size) noexcept : size_(size) {
        for_each_column([&](std::size_t i) { values_[i] = columns[i]->data(); }, all);
    }

    std::size_t size() const noexcept { return size_; }

    void append(const row& values) noexcept {
        for_each_column([&](std::size_t i) { values_[i][size_] = values[i]; }, all);
        ++size_;
    }

private:
    // Not a loop: one that is not unrolled keeps its columns in memory.
    template <class Visit, std::size_t... I>
    static void for_each_column(Visit visit, std::index_sequence<I...>) noexcept {
        (visit(I), ...);
    }
    static constexpr std::make_index_sequence<Columns> all{};

    std::array<std::uint32_t*, Columns> values_;
    std::size_t size_;
};

namespace detail {

using metadata::detail_metadata::md_region;
using metadata::detail_metadata::metadata_parser;

// Bytes of the records whose numbers have one byte each, which are the shortest. Eight bytes are looked at at once.
constexpr std::ptrdiff_t short_hidden_size = 3;
constexpr std::ptrdiff_t short_visible_size = 5;
constexpr std::ptrdiff_t loaded_size = 8;

// Reads the records of one method: every byte is checked.
class sequence_point_reader {
public:
    // Reads the blob's header.
    sequence_point_reader(const metadata_parser& parser, std::uint32_t method_row);

    bool has_points() const noexcept { return blob_.size() != 0; }
    // Not less than there are.
    std::size_t most_points() const noexcept { return blob_.size() / std::size_t{short_hidden_size}; }
    bool is_at_end() const noexcept { return position_ == blob_.size(); }

    // The next record, after the document records before it.
    sequence_point_record read();
    // Of the record that was read last: row of the Document table.
    std::uint32_t document() const noexcept { return document_; }

    // The bytes, the next one first, at which a short record may begin and needs no check of bounds: either kind lies
    // inside the blob, and all that is looked at inside the heap. None before the first visible point.
    std::span<const unsigned char> short_starts() const noexcept;
    // Goes on behind what has been read of them.
    void go_on_at(const unsigned char* next) noexcept { position_ = static_cast<std::uint32_t>(next - blob_.data()); }

private:
    md_region blob_;
    std::ptrdiff_t heap_size_ = 0;  // from the blob on
    std::uint32_t position_ = 0;
    std::uint32_t document_ = 0;
    bool is_first_ = true;          // no point has been read
    bool is_first_visible_ = true;  // no point with lines has been read
};

// The numbers of one byte: signed, and behind them unsigned.
constexpr std::uint32_t short_numbers_count = 0x80;
inline constexpr auto short_numbers = [] {
    std::array<std::uint32_t, 2 * std::size_t{short_numbers_count}> numbers{};
    for (std::uint32_t i = 0; i < short_numbers_count; ++i) {
        numbers[i] = metadata::detail_metadata::compressed_signed(i, 1);
        numbers[short_numbers_count + i] = i;
    }
    return numbers;
}();

// Appends what short records tell, as long as such records begin at one of the bytes; `size` is how many rows there
// are. Returns where they end. Not inlined: its few variables are to stay in registers.
template <class Answer, std::size_t Columns>
BOOST_NOINLINE const unsigned char* read_short_records(std::span<const unsigned char> starts, Answer& answer,
                                                       const point_columns<Columns>& outputs,
                                                       std::size_t& size) noexcept {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t first = 0xFF;               // zero in the record of a document
    constexpr std::uint64_t hidden = 0xFF'FF'80;        // zero in a short record of a hidden point
    constexpr std::uint64_t longer = 0x80'80'80'80'80;  // zero in one of a visible point
    const unsigned char* at = starts.data();
    const unsigned char* const end = at + starts.size();
    Answer sums = answer;
    point_writer<Columns> out(outputs, size);
    const auto stop = [&] {
        answer = sums;
        size = out.size();
        return at;
    };
    std::uint64_t bytes;
    static_assert(sizeof bytes == loaded_size);
    for (; at < end; at += short_visible_size) {
        count_work(1);
        std::memcpy(&bytes, at, sizeof bytes);
        // Hidden points are few and come one by one between visible ones: apart, they do not slow those down.
        while ((bytes & hidden) == 0 && (bytes & first) != 0) {
            count_work(1);
            out.append(sums.hidden(at[0]));
            at += short_hidden_size;
            if (at >= end) return stop();
            std::memcpy(&bytes, at, sizeof bytes);
        }
        if (((bytes | (bytes - 1)) & longer) != 0) break;  // a first byte of zero counts as one of 0xFF
        const std::uint32_t lines = at[1];
        // The columns are signed unless the point ends on the line of its start.
        const std::uint32_t columns = at[2] | ((lines - 1) & short_numbers_count);
        out.append(sums.visible({at[0], lines, short_numbers[columns], short_numbers[at[3]], short_numbers[at[4]]}));
    }
    return stop();
}

}  // namespace detail

// Fills `outputs` with a row for each sequence point of the method in blob order; the method is given by its row. What
// the row holds is up to `answer`: it makes one of a record, answer.visible(record), and of a hidden point's IL offset,
// answer.hidden(il_offset), and knows the row of the point's document by its member `document`. It is cheap to copy. A
// PDB without debug information for methods has no points. Throws what the metadata reader throws; what is in `outputs`
// then is not known.
template <std::size_t Columns, class Answer>
void read_sequence_points(const metadata::detail_metadata::metadata_parser& parser, std::uint32_t method_row,
                          Answer answer, const point_columns<Columns>& outputs) {
    const auto resize = [&](std::size_t size) {
        for (auto* output : outputs) output->resize(size);
    };
    detail::sequence_point_reader reader(parser, method_row);
    if (!reader.has_points()) return resize(0);
    resize(reader.most_points());
    std::size_t size = 0;
    // A blob always has a first point: one that ends after its header fails.
    do {
        const auto record = reader.read();
        answer.document = reader.document();
        point_writer<Columns>(outputs, size++)
            .append(record.hidden() ? answer.hidden(record.il_offset) : answer.visible(record));
        reader.go_on_at(detail::read_short_records(reader.short_starts(), answer, outputs, size));
    } while (!reader.is_at_end());
    resize(size);
}

}  // namespace qv::profiler::pdb_server
