// Reads the input as the metadata of an image, and as a portable PDB, of which everything is asked that a client can
// ask.
#include <algorithm>
#include <memory>

#include "pdb_server/src/ppdb/ppdb_module_data.h"
#include "qv/metadata/module_identity.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/sample_pdb.h"

namespace qv::fuzz {
namespace {

using namespace metadata::detail_metadata;
using namespace profiler::pdb_server;

// Enough rows to meet what the first ones do not show; rows may all refer to one large blob, so that more show nothing.
constexpr std::uint32_t rows_asked = 16;

void ask_method(module_data& module, std::uint32_t token, std::size_t size) {
    point_values offsets, ranges[5];
    const outcome first = attempt([&] { module.get_method_offsets(token, offsets); });
    const outcome second =
        attempt([&] { module.get_method_ranges(token, ranges[0], ranges[1], ranges[2], ranges[3], ranges[4]); });
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

void ask_all(std::unique_ptr<const metadata_container> container, std::size_t size) {
    container->has_id(sample_pdb_guid, sample_stamp);
    const std::uint32_t methods = std::min(container->parser().row_count(0x31), rows_asked);
    const std::uint32_t documents = std::min(container->parser().row_count(0x30), rows_asked);
    ppdb_module_data module(GUID{}, std::move(container));
    const std::uint64_t once = std::uint64_t{8} * size + 1000;
    for (std::uint32_t row = 0; row <= methods + 1; ++row)
        require_cost_within(once, size, [&] { ask_method(module, 0x06000000 | row, size); });
    for (std::uint32_t id = 0; id <= documents + 1; ++id)
        require_cost_within(once + 4 * max_document_name, size, [&] { ask_document(module, id, size); });
    bytes source_link;
    require_cost_within(once, size, [&] { attempt([&] { module.get_source_server_data(source_link); }); });
    require(source_link.size() <= size, "Source Link is part of the file");
}

outcome run(const unsigned char* data, std::size_t size) {
    const bytes block(data, data + size);
    std::unique_ptr<const metadata_container> container;
    require_cost_within(std::uint64_t{8} * size + 1000, size, [&] {
        attempt([&] { container = std::make_unique<const metadata_container>(bytes(block)); });
    });
    if (container) ask_all(std::move(container), size);
    attempt([&] { metadata::read_module_identity(block); });
    return attempt([&] {
        const metadata_parser parser(size, data);
        for (unsigned table = 0; table < max_tables; ++table)
            require(parser.table(table).size() == std::uint64_t{parser.row_size(table)} * parser.row_count(table),
                    "the region holds the rows");
    });
}

}  // namespace

const fuzz_target target = {run, metadata_seeds, metadata_words, mend_metadata};

}  // namespace qv::fuzz
