#include "tests/fuzz/mutator.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t largest);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qv::fuzz::target.run(data, size);
    return 0;
}

// Half of the changes are libFuzzer's own, which knows what the code compares with; the others are ours.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t largest,
                                               unsigned seed) {
    if (seed % 2 == 0) size = LLVMFuzzerMutate(data, size, largest);
    qv::fuzz::bytes input(data, data + size);
    if (seed % 2 == 0) {
        if (qv::fuzz::target.mend && seed % 16 != 0) qv::fuzz::target.mend(input);
    } else {
        qv::fuzz::mutator(seed).change(input);
    }
    size = std::min(input.size(), largest);
    std::copy_n(input.begin(), size, data);
    return size;
}
