// One place that holds symbol files, and what is asked of it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "symbol_services/symbol_server/file_key.h"

namespace qv::symbol_store {

// One search. Not owned by the stores it is handed to.
struct request {
    file_key key;

    // The longest path that the caller can take, in UTF-16 code units.
    std::size_t longest_path;

    // Told in one line each what was looked at and why it was passed over; may be empty.
    std::function<void(const std::wstring& line)> trace;

    // Asked several times a second, on the thread of the search, by what may take long; may be empty.
    std::function<bool()> cancelled = {};

    // When hosts are not waited for any longer.
    std::chrono::steady_clock::time_point end = std::chrono::steady_clock::time_point::max();
};

struct find_result {
    enum class status {
        found,
        absent,       // the store answers and has no such file
        unreachable,  // the store itself is not there
        cancelled,
    };
    status outcome;
    boost::filesystem::path path;  // of a complete local file; empty unless found
};

// A store of one kind. Implementations keep no state between calls: any number of threads may use one at the same time.
// No failure of the medium is thrown: it is an answer.
class store {
public:
    virtual ~store() = default;

    virtual find_result find(const request& wanted) const = 0;

    // Takes in a copy of `source` and answers its path in this store. Empty where the store cannot: it is read-only,
    // full, or of a kind that takes no files.
    virtual std::optional<boost::filesystem::path> add(const request& wanted,
                                                       const boost::filesystem::path& source) const = 0;

    // True where the place bears the mark of a symbol store.
    virtual bool is_marked() const = 0;

    virtual bool is_reachable() const = 0;
};

}  // namespace qv::symbol_store
