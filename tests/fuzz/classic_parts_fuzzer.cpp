// Reads the input as one stream of a classic PDB. The first byte says which: 0 the DBI stream, 1 the symbols of a
// module, 2 its line information.
#include "symbol_services/classic_reader/dbi.h"
#include "symbol_services/classic_reader/module_stream.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::fuzz {
namespace {

using namespace classic_reader;

outcome run_dbi(const msf_stream& stream) {
    return attempt([&] {
        const auto info = read_dbi(stream);
        require(info.modules.size() <= stream.size() / 64, "every module has its record");
        const auto list = stream.bytes(info.source_list_offset, info.source_list_size);
        std::uint64_t names = 0;
        for (const auto& file : read_source_list(list)) {
            require(file.module < 0x10000, "the list numbers its modules in 16 bits");
            names += file.name.size();
        }
        require(names <= list.size(), "names do not overlap");
    });
}

// What is not readable is left out: an input without a procedure counts as rejected.
outcome run_symbols(const msf_stream& stream) {
    const auto procedures = read_procedures(stream, stream.size());
    for (const auto& procedure : procedures) {
        const auto same = procedure_at(stream, stream.size(), procedure.record);
        require(same && same->token == procedure.token && same->address == procedure.address,
                "a procedure is found where it lies");
    }
    for (std::uint32_t offset = 0; offset < stream.size(); offset += 3) procedure_at(stream, stream.size(), offset);
    return procedures.empty() ? outcome::rejected : outcome::accepted;
}

outcome run_lines(const msf_stream& stream) {
    const line_sections sections(stream, 0, stream.size());
    for (const auto offset : sections.files())
        require(attempt([&] { sections.file(offset); }) == outcome::accepted, "listed files can be read");
    auto result = outcome::accepted;
    for (const std::uint32_t address : {0x10u, 0x110u, 0x210u, 0u}) {  // where the writer's procedures begin
        std::vector<sequence_point> points;
        const auto read = attempt([&] {
            sections.read_points(
                {1, address}, [&](std::uint32_t file) { return sections.file(file).name; }, points);
        });
        if (read == outcome::rejected) result = outcome::rejected;
        require(points.size() <= stream.size() / 8, "every point has its record");
    }
    return result;
}

outcome run(const unsigned char* data, std::size_t size) {
    if (size == 0) return outcome::rejected;
    const bytes content(data + 1, data + size);
    const msf_file file(std::make_unique<const memory_source>(test::write_msf({content})));
    switch (*data % 3) {
        case 0: return run_dbi(file.stream(0));
        case 1: return run_symbols(file.stream(0));
        default: return run_lines(file.stream(0));
    }
}

std::vector<bytes> seeds() {
    auto other = test::sample_pdb_description();
    other.token_map = {0, 2, 1, 3, 4};
    other.modules[0].columns = false;
    other.files[0].table_checksum = bytes(16, 3);
    other.files[0].table_checksum_kind = 1;
    std::vector<bytes> result;
    const auto add = [&result](unsigned char part, const bytes& content, std::size_t begin = 0) {
        result.push_back({part});
        result.back().insert(result.back().end(), content.begin() + static_cast<std::ptrdiff_t>(begin), content.end());
    };
    for (const auto& pdb : {test::sample_pdb_description(), other}) {
        auto streams = test::write_streams(pdb);
        const auto& module = streams[streams.modules[0]];
        add(0, streams[test::dbi_stream_number]);
        add(1, module);
        add(2, module, streams.symbol_sizes[0]);
    }
    return result;
}

}  // namespace

const fuzz_target target = {run, seeds};

}  // namespace qv::fuzz
