// Asks a symbol source for everything about a module and holds the answers against the expected ones.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/expected/expected.h"

namespace qv::testing {

// How much was compared and what differs. One line for each method, document or other answer that differs; the first
// ten of a kind in full, then the number of the rest.
struct comparison {
    std::size_t methods = 0;  // all that were asked for, those without points included
    std::size_t points = 0;   // expected ones
    std::size_t documents = 0;
    std::vector<std::string> differences;
};

// Every MethodDef row, every document, the source-server data. A method without expected points must answer none. A
// query that throws is a difference too.
comparison compare(const expected_module& expected, symbol_source& source, std::uint32_t module_id);

}  // namespace qv::testing
