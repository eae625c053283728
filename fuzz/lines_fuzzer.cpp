// Reads the input as the line information of a module. The writer's procedures begin at known addresses.
#include "fuzz/fuzz_target.h"
#include "fuzz/sample_stream.h"
#include "symbol_services/classic_reader/line_sections.h"

namespace qv::fuzz {
namespace {

constexpr std::uint32_t addresses[] = {0x10, 0x110, 0x210, 0};

outcome run(const unsigned char* data, std::size_t size) {
    const sample_stream sample(data, size);
    const classic_reader::line_sections sections(sample.stream(), 0, size);
    for (const auto offset : sections.files())
        require(attempt([&] { sections.file(offset); }) == outcome::accepted, "listed files can be read");

    auto result = outcome::accepted;
    for (const auto address : addresses) {
        std::vector<classic_reader::sequence_point> points;
        const auto read = attempt([&] {
            sections.read_points(
                {1, address}, [&](std::uint32_t file) { return sections.file(file).name; }, points);
        });
        if (read == outcome::rejected) result = outcome::rejected;
        require(points.size() <= size / 8, "every point has its record");
    }
    return result;
}

std::vector<bytes> seeds() {
    auto without_columns = test::sample_pdb_description();
    without_columns.modules[0].columns = false;
    without_columns.files[0].table_checksum = bytes(16, 3);
    without_columns.files[0].table_checksum_kind = 1;
    std::vector<bytes> result;
    for (const auto& pdb : {test::sample_pdb_description(), without_columns}) {
        auto streams = test::write_streams(pdb);
        const auto& module = streams[streams.modules[0]];
        result.emplace_back(module.begin() + static_cast<std::ptrdiff_t>(streams.symbol_sizes[0]), module.end());
    }
    return result;
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("lines", qv::fuzz::run, qv::fuzz::seeds)
