// Runs the target over its seeds and over mutations of them that are the same in every run.
#include <gtest/gtest.h>

#include <random>

#include "fuzz/fuzz_target.h"

namespace qv::fuzz {
namespace {

constexpr int mutations_per_seed = 3000;

// Only the raw output of the generator is used: distributions differ between libraries.
class mutator {
public:
    bytes mutate(bytes data) {
        for (std::size_t i = 1 + below(4); i != 0; --i) step(data);
        return data;
    }

private:
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }

    void step(bytes& data) {
        static constexpr unsigned char extremes[] = {0x00, 0x01, 0x7F, 0x80, 0xBF, 0xC0, 0xE0, 0xFF};
        if (data.empty()) return data.push_back(0);
        const std::size_t at = below(data.size());
        const auto place = data.begin() + static_cast<std::ptrdiff_t>(at);
        switch (below(6)) {
            case 0: *place ^= static_cast<unsigned char>(1u << below(8)); break;
            case 1: *place = extremes[below(sizeof extremes)]; break;
            case 2:  // a whole 32-bit field
                for (std::size_t i = at; i < data.size() && i < at + 4; ++i) data[i] = extremes[below(sizeof extremes)];
                break;
            case 3: data.erase(place); break;
            case 4: data.insert(place, extremes[below(sizeof extremes)]); break;
            default: data.resize(at); break;
        }
    }

    std::mt19937_64 random_{20240229};
};

// Some mutations do no harm, others do: a run in which either kind is missing has tested nothing.
TEST(Replay, MutationsKeepEveryPromise) {
    mutator source;
    int accepted = 0;
    int rejected = 0;
    for (const bytes& seed : seeds())
        for (int i = 0; i < mutations_per_seed; ++i) {
            const bytes input = source.mutate(seed);
            ++(run(input.data(), input.size()) == outcome::accepted ? accepted : rejected);
        }
    EXPECT_GT(accepted, 0);
    EXPECT_GT(rejected, 0);
}

}  // namespace
}  // namespace qv::fuzz
