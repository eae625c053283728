// The image reader over a file.
#pragma once

#include <boost/filesystem/path.hpp>

#include "qv/portable_executable/readers.h"

namespace qv::portable_executable {

// Reads the image and closes the file before it returns. Throws what opening the file and the readers throw.
image_data read_image_file(const boost::filesystem::path& path);

}  // namespace qv::portable_executable
