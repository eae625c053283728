// Writes the container of a classic PDB file, as symbol_services/classic_reader/msf.h describes it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/support/builders/bytes.h"

namespace qv::test {

// By number; one without a value is not there.
using msf_streams = std::vector<std::optional<bytes>>;

enum class page_order { ascending, descending };

// A file with these streams. Descending: every stream lies backwards in the file.
bytes write_msf(const msf_streams& streams, std::uint32_t page_size = 512, page_order order = page_order::ascending);

}  // namespace qv::test
