// Bytes as the only stream of a container, for parts of a classic PDB that are read through one.
#pragma once

#include "symbol_services/classic_reader/msf.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::fuzz {

class sample_stream {
public:
    sample_stream(const unsigned char* data, std::size_t size)
        : file_(test::write_msf({test::bytes(data, data + size)})), container_(file_) {}

    classic_reader::msf_stream stream() const { return container_.stream(0); }

private:
    test::bytes file_;
    classic_reader::msf_file container_;
};

}  // namespace qv::fuzz
