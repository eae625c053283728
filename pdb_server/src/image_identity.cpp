#include "pdb_server/src/image_identity.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "core/stream/FileNativeStream.h"
#include "qv/metadata/module_identity.h"

namespace qv::profiler::pdb_server {
namespace {

// The metadata block of an image in a stream. A page of it is read when something on it is.
class metadata_pages final : public metadata::detail_metadata::byte_fetcher {
public:
    // The stream holds the whole block, and outlives the object.
    metadata_pages(portable_executable::core_stream_adapter& stream, const portable_executable::image_data& image)
        : stream_(stream),
          offset_(image.metadata_offset),
          size_(image.metadata_size),
          bytes_(new unsigned char[size_]),
          present_(size_ / page_size + 1) {}

    metadata::detail_metadata::md_region block() const noexcept { return {bytes_.get(), size_, this}; }

    void fetch(const unsigned char* begin, std::uint32_t count) const override {
        const auto first = static_cast<std::uint64_t>(begin - bytes_.get());
        for (std::uint64_t at = first - first % page_size; at < first + count; at += page_size) {
            if (present_[at / page_size]) continue;
            stream_.seek(static_cast<std::int64_t>(offset_ + at));
            stream_.read(bytes_.get() + at, std::min(page_size, size_ - at));
            present_[at / page_size] = true;
        }
    }

private:
    static constexpr std::uint64_t page_size = 16384;

    portable_executable::core_stream_adapter& stream_;
    const std::uint64_t offset_;
    const std::uint32_t size_;
    const std::unique_ptr<unsigned char[]> bytes_;
    mutable std::vector<bool> present_;
};

}  // namespace

GUID read_image_mvid(const boost::filesystem::path& path, portable_executable::image_data& image) {
    FileNativeStream file;
    file.Open(path);
    portable_executable::core_stream_adapter stream(file);
    image = {};
    read_image_data(stream, image, portable_executable::read_metadata_mode::place);
    return metadata::read_module_identity(metadata_pages(stream, image).block()).mvid;
}

}  // namespace qv::profiler::pdb_server
