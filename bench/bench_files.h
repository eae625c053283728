// What the benchmarks read.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "base/guid.h"
#include "tests/support/builders/bytes.h"

namespace qv::bench {

// A large module as the compiler wrote it, when `./benchmark` found a compiler; else one that is built here.
struct bench_files {
    boost::filesystem::path image;
    boost::filesystem::path pdb;
    boost::filesystem::path embedded_image;  // the same with its PDB inside
};

// An image of `methods` methods with `points` points each, and its portable PDB.
struct module_bytes {
    test::bytes image;
    test::bytes pdb;
};
module_bytes make_module(const GUID& mvid, std::uint32_t methods, std::uint32_t points);

// Writes make_module's image and PDB, or an image with the PDB inside, into a folder.
void write_module(const boost::filesystem::path& folder, const std::string& name, const module_bytes& module);
void write_embedded_module(const boost::filesystem::path& folder, const std::string& name, const module_bytes& module);

// Each subject puts its benchmarks on the list. Names are SUBJECT/FILE or SUBJECT/SIZE; bench/report.py knows which are
// compared. Those named limit/... do nothing but what the machine itself needs.
void add_limits(const bench_files& files);
void add_portable_pdb_benchmarks(const bench_files& files);
void add_classic_pdb_benchmarks();
void add_command_loop_benchmarks();

}  // namespace qv::bench
