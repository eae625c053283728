// Reads the input as the symbols of a module. What is not readable is left out: an input without a procedure counts as
// rejected.
#include "fuzz/fuzz_target.h"
#include "fuzz/sample_stream.h"
#include "symbol_services/classic_reader/module_symbols.h"

namespace qv::fuzz {
namespace {

outcome run(const unsigned char* data, std::size_t size) {
    const sample_stream sample(data, size);
    const auto stream = sample.stream();
    const auto procedures = classic_reader::read_procedures(stream, stream.size());
    for (const auto& procedure : procedures) {
        const auto same = classic_reader::procedure_at(stream, stream.size(), procedure.record);
        require(same && same->token == procedure.token && same->address == procedure.address,
                "a procedure is found where it lies");
    }
    for (std::uint32_t offset = 0; offset < stream.size(); offset += 3)
        classic_reader::procedure_at(stream, stream.size(), offset);
    return procedures.empty() ? outcome::rejected : outcome::accepted;
}

std::vector<bytes> seeds() {
    auto streams = test::write_streams(test::sample_pdb_description());
    std::vector<bytes> result;
    for (const auto module : streams.modules) result.push_back(streams[module]);
    return result;
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("module_symbols", qv::fuzz::run, qv::fuzz::seeds)
