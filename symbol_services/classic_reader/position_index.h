// Finds methods and lines by a position in a document.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "symbol_services/classic_reader/module_stream.h"

namespace qv::classic_reader {

// Filled once, then immutable. Hidden points have no position and take no part.
class position_index {
public:
    void add(std::uint32_t token, std::span<const sequence_point> points);
    // Makes the index ready for questions.
    void finish();

    // Methods whose lines in the document lie around this line: those with the fewest lines first, then by token.
    std::vector<std::uint32_t> methods_at(std::uint32_t document, std::uint32_t line) const;

    // The first line from this one on where a point of the document begins.
    std::optional<std::uint32_t> closest_line(std::uint32_t document, std::uint32_t line) const;

private:
    // The lines of one method in one document.
    struct extent {
        std::uint32_t document;
        std::uint32_t first_line;
        std::uint32_t last_line;
        std::uint32_t token;
    };
    using place = std::pair<std::uint32_t, std::uint32_t>;  // document, line

    void join_extents(std::size_t own);

    std::vector<extent> extents_;
    std::vector<place> starts_;
};

}  // namespace qv::classic_reader
