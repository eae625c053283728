// Changes of inputs, the same in every run with one seed.
#pragma once

#include <algorithm>
#include <random>

#include "tests/fuzz/fuzz_target.h"

namespace qv::fuzz {

// Only the raw output of the generator is used: distributions differ between libraries.
class mutator {
public:
    explicit mutator(std::uint64_t seed) : random_(seed) {}

    // A few steps, and then what the target says that an input needs.
    void change(bytes& data) {
        if (!target.mutate || below(4) == 0 || !target.mutate(data, *this)) take_steps(data);
        if (target.mend && below(8) != 0) target.mend(data);
    }

    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }

    void take_steps(bytes& data) {
        for (std::size_t i = 1 + below(4); i != 0; --i) step(data);
    }

private:
    void step(bytes& data) {
        static constexpr unsigned char extremes[] = {0x00, 0x01, 0x7F, 0x80, 0xBF, 0xC0, 0xE0, 0xFF};
        if (data.empty()) return data.push_back(0);
        const std::size_t at = below(data.size());
        const auto place = data.begin() + static_cast<std::ptrdiff_t>(at);
        switch (below(target.words.empty() ? 6 : 8)) {
            case 0: *place ^= static_cast<unsigned char>(1u << below(8)); break;
            case 1: *place = extremes[below(sizeof extremes)]; break;
            case 2:  // a whole 32-bit field
                for (std::size_t i = at; i < data.size() && i < at + 4; ++i) data[i] = extremes[below(sizeof extremes)];
                break;
            case 3: data.erase(place); break;
            case 4: data.insert(place, extremes[below(sizeof extremes)]); break;
            case 5: data.resize(at); break;
            default: {
                const std::string& word = target.words[below(target.words.size())];
                data.insert(place, word.begin(), word.end());
            }
        }
    }

    std::mt19937_64 random_;
};

}  // namespace qv::fuzz
