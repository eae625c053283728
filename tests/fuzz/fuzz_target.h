// What the fuzz targets share.
//
// Each target is one function over bytes. libFuzzer calls it without end; the replay test calls it with the target's
// seeds and with a fixed number of mutations of them, so that every sanitizer run exercises it for a moment.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ios>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

#include "base/exception.h"
#include "base/work_counter.h"
#include "tests/support/costly_files/allocations.h"

namespace qv::fuzz {

using bytes = std::vector<unsigned char>;

// Whether the input was taken. Rejection is by an error that bad input may cause; any other exception leaves the
// target, which is a finding, and so does a broken promise.
enum class outcome { rejected, accepted };

class mutator;

// What each target's source defines.
struct fuzz_target {
    outcome (*run)(const unsigned char* data, std::size_t size);
    std::vector<bytes> (*seeds)();                            // inputs to begin with
    std::vector<std::string> words = {};                      // that the code under test compares its input with
    void (*mend)(bytes& input) = nullptr;                     // gives a changed input back what nothing is read without
    bool (*mutate)(bytes& input, mutator& source) = nullptr;  // by the input's structure; false where it has none
    int replayed = 3000;                                      // changes of each seed in the replay test
};
extern const fuzz_target target;

// Puts a text at its place again, where the input is long enough for it.
inline void put(bytes& input, std::size_t place, std::string_view text) {
    if (place <= input.size() && text.size() <= input.size() - place)
        std::copy(text.begin(), text.end(), input.begin() + static_cast<std::ptrdiff_t>(place));
}

// Ends the program when the code under test breaks a promise.
inline void require(bool promise, const char* text) {
    if (promise) return;
    std::fprintf(stderr, "broken promise: %s\n", text);
    std::abort();
}

// Runs the action; rejected when it ends with an error that bad input may cause: the system's own, malformed text, or
// the decompression library's.
template <class Action>
outcome attempt(Action&& action) {
    try {
        std::forward<Action>(action)();
        return outcome::accepted;
    } catch (const qv::exception&) {
        return outcome::rejected;
    } catch (const std::ios_base::failure&) {
        return outcome::rejected;
    } catch (const std::runtime_error& error) {
        if (typeid(error) != typeid(std::runtime_error) && typeid(error) != typeid(std::range_error)) throw;
        return outcome::rejected;
    }
}

// Runs the action on an input of this size, which may take so many steps, and so much memory in one piece as the
// largest expansion of an embedded PDB takes.
template <class Action>
void require_cost_within(std::uint64_t steps, std::size_t size, Action&& action) {
    [[maybe_unused]] const std::uint64_t before = work_done;
    test::largest_allocation = 0;
    std::forward<Action>(action)();
    require(work_done - before <= steps, "work is in proportion to the input");
    require(test::largest_allocation <= (16u << 20) + 64 * size, "memory is in proportion to the input");
}

}  // namespace qv::fuzz
