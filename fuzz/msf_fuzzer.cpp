// Opens the input as the container of a classic PDB and reads all its streams.
#include "fuzz/fuzz_target.h"
#include "symbol_services/classic_reader/msf.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::fuzz {
namespace {

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        const classic_reader::msf_file file({data, size});
        std::uint64_t total = 0;
        for (std::uint32_t index = 0; index < file.stream_count(); ++index) {
            if (!file.has_stream(index)) continue;
            const auto stream = file.stream(index);
            if (index != 0) total += stream.size();
            attempt([&] { require(stream.bytes().size() == stream.size(), "a stream is read as a whole"); });
            attempt([&] { stream.text(stream.size() / 2, stream.size()); });
        }
        require(total <= size + 0x10000, "streams are backed by the file");
    });
}

std::vector<bytes> seeds() {
    const auto pdb = test::sample_pdb_description();
    return {test::write_pdb(pdb), test::write_pdb(pdb, 1024, test::page_order::descending),
            test::write_msf({bytes(), bytes(70'000, 1), std::nullopt, bytes{1, 2, 3}})};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("msf", qv::fuzz::run, qv::fuzz::seeds)
