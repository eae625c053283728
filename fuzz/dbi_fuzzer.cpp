// Reads the input as the DBI stream of a classic PDB, and its source file list.
#include "fuzz/fuzz_target.h"
#include "fuzz/sample_stream.h"
#include "symbol_services/classic_reader/dbi.h"

namespace qv::fuzz {
namespace {

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        const sample_stream sample(data, size);
        const auto info = classic_reader::read_dbi(sample.stream());
        require(info.modules.size() <= size / 64, "every module has its record");
        const auto list = sample.stream().bytes(info.source_list_offset, info.source_list_size);
        std::uint64_t names = 0;
        for (const auto& file : classic_reader::read_source_list(list)) {
            require(file.module < 0x10000, "the list numbers its modules in 16 bits");
            names += file.name.size();
        }
        require(names <= list.size(), "names do not overlap");
    });
}

std::vector<bytes> seeds() {
    auto mapped = test::sample_pdb_description();
    mapped.token_map = {0, 2, 1, 3, 4};
    std::vector<bytes> result;
    for (const auto& pdb : {test::sample_pdb_description(), mapped})
        result.push_back(test::write_streams(pdb)[test::dbi_stream_number]);
    return result;
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("dbi", qv::fuzz::run, qv::fuzz::seeds)
