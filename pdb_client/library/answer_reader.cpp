#include "pdb_client/library/answer_reader.h"

#include <array>

#include "base/exception.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::size_t word_size = 4;

}  // namespace

void answer_reader::require(std::uint64_t size) const {
    if (size > payload_.size() - stream_.GetPosition()) throw_error("The answer is shorter than its counts");
}

// A packed count is below 2^29, so the product is far from 64 bits.
std::vector<std::uint32_t> answer_reader::words(std::uint64_t count) {
    require(count * word_size);
    std::vector<std::uint32_t> result(static_cast<std::size_t>(count));
    for (std::uint32_t& word : result) {
        std::array<unsigned char, word_size> raw;
        stream_.Read(raw.data(), raw.size());
        for (std::size_t byte = raw.size(); byte-- != 0;) word = (word << 8) | raw[byte];
    }
    return result;
}

std::vector<std::uint8_t> answer_reader::bytes(std::uint64_t count) {
    require(count);
    std::vector<std::uint8_t> result(static_cast<std::size_t>(count));
    stream_.Read(result.data(), count);
    return result;
}

void answer_reader::finish() const {
    if (stream_.GetPosition() != payload_.size()) throw_error("The answer is longer than its content");
}

}  // namespace qv::profiler::pdb_client
