#include "bench/bench_files.h"

#include <boost/filesystem/fstream.hpp>

#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"

namespace qv::bench {
namespace {

constexpr GUID pdb_guid = {0xBE4C4, 0, 0, {}};
constexpr std::uint32_t stamp = 1;

// Numbers of one byte mostly, of two for every eighth point, and a hidden point after 15 others.
test::bytes points_blob(std::uint32_t points) {
    test::byte_writer blob;
    blob.packed(0).packed(0).packed(0).packed(40).packed(8).packed(20).packed(9);
    for (std::uint32_t i = 1; i < points; ++i) {
        blob.packed(4 + i % 9);
        if (i % 16 == 15)
            blob.packed(0).packed(0);
        else if (i % 8 == 0)
            blob.packed(3).packed(24).packed(2).u8(0x80).u8(0xA0);
        else
            blob.packed(0).packed(30 + i % 50).packed(2 * (i % 4)).packed(i % 2 * 8);
    }
    return blob.data();
}

void write(const boost::filesystem::path& path, const test::bytes& content) {
    boost::filesystem::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

}  // namespace

module_bytes make_module(const GUID& mvid, std::uint32_t methods, std::uint32_t points) {
    test::portable_pdb_builder pdb(pdb_guid, stamp);
    pdb.metadata().heap_sizes(4);
    pdb.document("/src/module.cs", test::sha256, test::bytes(32, 1));
    const test::bytes blob = points_blob(points);
    for (std::uint32_t i = 0; i < methods; ++i) pdb.method(1, blob);
    return {test::image_metadata(mvid, methods).build(), pdb.build()};
}

void write_module(const boost::filesystem::path& folder, const std::string& name, const module_bytes& module) {
    write(folder / (name + ".pdb"), module.pdb);
    write(folder / (name + ".dll"),
          test::pe_builder().metadata(module.image).codeview(pdb_guid, stamp, name + ".pdb").build().data);
}

void write_embedded_module(const boost::filesystem::path& folder, const std::string& name, const module_bytes& module) {
    const auto image = test::pe_builder().metadata(module.image).codeview(pdb_guid, stamp, name + ".pdb");
    write(folder / (name + ".dll"), test::pe_builder(image).embedded(module.pdb).build().data);
}

}  // namespace qv::bench
