// Unpacks the input as an embedded portable PDB.
#include <cstring>

#include "fuzz/fuzz_target.h"
#include "fuzz/sample_pdb.h"
#include "qv/portable_executable/metadata_pdb_unpacker.h"

namespace qv::fuzz {
namespace {

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        const bytes result = portable_executable::unpack_metadata_pdb(data, size);
        std::uint32_t declared = 0;
        std::memcpy(&declared, data + 4, sizeof declared);
        require(result.size() == declared, "the result has the declared size");
        require(result.capacity() <= size * 1032 + 64, "memory is no more than the input can expand to");
    });
}

std::vector<bytes> seeds() {
    return {test::pack_portable_pdb({}), test::pack_portable_pdb(sample_pdb().build()),
            test::pack_portable_pdb(bytes(100'000, 7))};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("pdb_unpacker", qv::fuzz::run, qv::fuzz::seeds)
