// What every search for the symbols of an image keeps to: the server's own, and those of the symbol services.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

// Where a search may look. The bits are those that a platform's symbol binder takes, and the protocol carries.
enum search_policy : std::uint8_t {
    policy_registry = 0x1,        // registry access
    policy_symbol_server = 0x2,   // symbol-server access
    policy_original_path = 0x4,   // the path recorded in the image
    policy_reference_path = 0x8,  // beside the image
};

// An image names one symbol file, and perhaps those of what it was made from. For each all places are searched, so that
// an image with more records than this asks for too much.
constexpr std::size_t most_codeview_records = 16;

}  // namespace qv
