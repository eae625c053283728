// Lets somebody watch a search for the symbols of an image, to tell people why it ends as it does. The search itself
// does not depend on who watches.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/guid.h"

namespace qv {

struct symbol_file_id {
    GUID guid;
    std::uint32_t number;  // the stamp of a portable PDB, the age of a classic one
};

enum class search_step {
    embedded,       // the symbols lie in the image
    taken,          // the file at this place belongs to the image
    missing,        // there is no file at this place
    no_symbols,     // the file is no PDB of the kind that is looked for
    other_build,    // the file has another id, which `found` holds
    other_age,      // the GUID is right, the age is not; or the record has an age that no file can have
    failed,         // the file cannot be read
    forbidden,      // the search policy forbids this place
    other_library,  // the element names another symbol-server library
    asked,          // the symbol server of this element is asked; what comes next is what it gave
    told,           // what its library told meanwhile: `place` is a line of its own words
    not_there,      // and that was nothing
};

struct search_event {
    search_step step;
    std::wstring place;  // a path, or an element of the search path
    std::optional<symbol_file_id> found = std::nullopt;
};

// May be empty.
using search_observer = std::function<void(const search_event&)>;

inline void tell(const search_observer& observer, search_step step, const std::wstring& place,
                 std::optional<symbol_file_id> found = std::nullopt) {
    if (observer) observer({step, place, found});
}

}  // namespace qv
