// Loads the input as a portable PDB and asks for everything that a client can ask for.
#include <algorithm>
#include <memory>

#include "fuzz/fuzz_target.h"
#include "fuzz/sample_pdb.h"
#include "pdb_server/src/ppdb/document_name.h"
#include "pdb_server/src/ppdb/ppdb_module_data.h"

namespace qv::fuzz {
namespace {

using namespace profiler::pdb_server;

// Rows of one table may all refer to one large blob; more of them show nothing new.
constexpr std::uint32_t rows_asked = 64;

void ask_method(module_data& module, std::uint32_t row, std::size_t size) {
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> ranges[5];
    const outcome first = attempt([&] { module.get_method_offsets(0x06000000 | row, offsets); });
    const outcome second = attempt(
        [&] { module.get_method_ranges(0x06000000 | row, ranges[0], ranges[1], ranges[2], ranges[3], ranges[4]); });
    require(first == second, "offsets and ranges fail together");
    for (const auto& range : ranges) require(range.size() == offsets.size(), "offsets and ranges belong together");
    require(offsets.size() <= size / 3 + 1, "a point takes three bytes at least");
}

void ask_document(module_data& module, std::uint32_t id, std::size_t size) {
    std::wstring url;
    GUID algorithm;
    bytes checksum;
    attempt([&] { module.get_document(id, url, algorithm, checksum); });
    require(url.size() <= max_document_name + 6, "a name has a bound");
    require(checksum.size() <= size, "a checksum is part of the file");
}

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        auto container = std::make_unique<const metadata_container>(bytes(data, data + size));
        const auto& parser = container->parser();
        const std::uint32_t methods = std::min(parser.row_count(0x31), rows_asked);
        const std::uint32_t documents = std::min(parser.row_count(0x30), rows_asked);

        ppdb_module_data module(GUID{}, std::move(container));
        for (std::uint32_t row = 0; row <= methods + 1; ++row) ask_method(module, row, size);
        for (std::uint32_t id = 0; id <= documents + 1; ++id) ask_document(module, id, size);
        bytes source_link;
        attempt([&] { module.get_source_server_data(source_link); });
        require(source_link.size() <= size, "Source Link is part of the file");
    });
}

std::vector<bytes> seeds() {
    test::portable_pdb_builder wide = sample_pdb();
    wide.metadata().heap_sizes(7);
    return {sample_pdb().build(), wide.build()};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("portable_pdb", qv::fuzz::run, qv::fuzz::seeds)
