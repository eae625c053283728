// Reads the input as a PE image.
#include <cstring>

#include "core/src/stream/MemoryBlockStream.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/sample_pdb.h"
#include "qv/portable_executable/readers.h"

namespace qv::fuzz {
namespace {

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        MemoryBlockStream stream(data, size);
        portable_executable::core_stream_adapter adapter(stream);
        portable_executable::image_data image;
        read_image_data(adapter, image);

        require(image.metadata.size() >= 20 && image.metadata.size() <= size, "metadata is part of the file");
        require(std::memcmp(image.metadata.data(), "BSJB", 4) == 0, "metadata has its signature");
        std::uint64_t debug_data = 0;
        for (const auto& entry : image.debug_entries) {
            require(entry.Type == 2 || entry.Type == 17, "only entries that lead to symbols are kept");
            debug_data += entry.data.size();
        }
        require(debug_data <= size, "debug data is no larger than the file");
    });
}

std::vector<bytes> seeds() {
    return {sample_image(test::pe_kind::pe32).build().data, sample_image(test::pe_kind::pe32_plus).build().data,
            test::pe_builder().metadata(test::image_metadata(sample_mvid).build()).further_directories(2).build().data};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("image_reader", qv::fuzz::run, qv::fuzz::seeds)
