// Reads the input as a PE image and loads the portable PDB that is embedded in it.
#include <cstring>

#include "core/stream/MemoryStreams.h"
#include "pdb_server/src/pdb_processor_ppdb.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/sample_pdb.h"
#include "tests/support/costly_files/costly_files.h"

namespace qv::fuzz {
namespace {

// What an embedded PDB may expand to, and that each of its bytes is met a few times.
constexpr std::uint64_t expanded(std::size_t size) {
    return 4 * ((16u << 20) + std::uint64_t{64} * size);
}

void check(const portable_executable::image_data& image, std::size_t size) {
    require(image.metadata.size() >= 20 && image.metadata.size() <= size, "metadata is part of the file");
    require(std::memcmp(image.metadata.data(), "BSJB", 4) == 0, "metadata has its signature");
    std::uint64_t debug_data = 0;
    for (const auto& entry : image.debug_entries) {
        require(entry.Type == 2 || entry.Type == 17, "only entries that lead to symbols are kept");
        debug_data += entry.data.size();
    }
    require(debug_data <= size, "debug data is no larger than the file");
}

outcome run(const unsigned char* data, std::size_t size) {
    portable_executable::image_data image;
    auto result = outcome::rejected;
    require_cost_within(std::uint64_t{16} * size + 1000, size, [&] {
        MemoryBlockStream stream(data, size);
        portable_executable::core_stream_adapter adapter(stream);
        result = attempt([&] { read_image_data(adapter, image); });
    });
    if (result == outcome::rejected) return result;
    check(image, size);
    require_cost_within(expanded(size), size, [&] {
        attempt([&] { profiler::pdb_server::try_load_module({}, image, [](const auto&...) {}); });
    });
    return result;
}

void mend(bytes& input) {
    using namespace std::string_view_literals;
    put(input, 0, "MZ"sv);
    std::uint32_t headers = 0;
    if (input.size() > 0x40) std::memcpy(&headers, input.data() + 0x3C, sizeof headers);
    put(input, headers, "PE\0\0"sv);
}

std::vector<bytes> seeds() {
    std::vector<bytes> result;
    for (const auto kind : {test::pe_kind::pe32, test::pe_kind::pe32_plus})
        result.push_back(sample_image(kind).build().data);
    for (const auto& shape : test::portable_costly_shapes())
        if (shape.name != "EmbeddedVoid") result.push_back(shape.make(100).image);
    return result;
}

}  // namespace

const fuzz_target target = {
    run, seeds, {"BSJB", "RSDS", "MPDB", "#Pdb", "#~", "NE", "LE", "LX", "\x07\x01", "\x0B\x02"}, mend};

}  // namespace qv::fuzz
