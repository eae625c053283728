#include "qv/portable_executable/image_file.h"

#include "core/src/stream/FileNativeStream.h"

namespace qv::portable_executable {

image_data read_image_file(const boost::filesystem::path& path) {
    FileNativeStream file;
    file.Open(path);
    core_stream_adapter stream(file);
    image_data image;
    read_image_data(stream, image);
    return image;
}

}  // namespace qv::portable_executable
