// Runs the target over its seeds and over mutations of them that are the same in every run.
#include <gtest/gtest.h>

#include "tests/fuzz/mutator.h"

namespace qv::fuzz {
namespace {

// Some mutations do no harm, others do: a run in which either kind is missing has tested nothing.
TEST(Replay, MutationsKeepEveryPromise) {
    mutator source(20240229);
    int accepted = 0;
    int rejected = 0;
    for (const bytes& seed : target.seeds())
        for (int i = 0; i < target.replayed; ++i) {
            bytes input = seed;
            source.change(input);
            ++(target.run(input.data(), input.size()) == outcome::accepted ? accepted : rejected);
        }
    EXPECT_GT(accepted, 0);
    EXPECT_GT(rejected, 0);
}

}  // namespace
}  // namespace qv::fuzz
