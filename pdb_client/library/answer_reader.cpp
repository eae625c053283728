#include "pdb_client/library/answer_reader.h"

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_client {

void answer_reader::require(std::uint64_t size) const {
    if (size > payload_.size() - stream_.GetPosition())
        throw_error("The answer is shorter than its counts",
                    "void __cdecl qv::profiler::pdb_client::answer_reader::require(unsigned __int64) const",
                    "pdb_client/library/answer_reader", __LINE__);
}

// A packed count is below 2^29, so the product is far from 64 bits.
std::vector<std::uint32_t> answer_reader::words(std::uint64_t count) {
    const std::vector<std::uint8_t> raw = bytes(count * 4);
    std::vector<std::uint32_t> result(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < result.size(); ++i)
        for (std::size_t byte = 4; byte-- != 0;) result[i] = (result[i] << 8) | raw[i * 4 + byte];
    return result;
}

std::vector<std::uint8_t> answer_reader::bytes(std::uint64_t count) {
    require(count);
    std::vector<std::uint8_t> result(static_cast<std::size_t>(count));
    stream_.Read(result.data(), count);
    return result;
}

void answer_reader::finish() const {
    if (stream_.GetPosition() != payload_.size())
        throw_error("The answer is longer than its content",
                    "void __cdecl qv::profiler::pdb_client::answer_reader::finish(void) const",
                    "pdb_client/library/answer_reader", __LINE__);
}

}  // namespace qv::profiler::pdb_client
