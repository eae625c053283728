// The one difference between the programs made from real_modules_test.cpp: who is asked.
#pragma once

#include <memory>

#include "tests/support/expected/symbol_source.h"

namespace qv::testing {

// A source ready for load(): the engine itself, or a connection to a server started for it.
std::unique_ptr<symbol_source> open_symbol_source();

}  // namespace qv::testing
