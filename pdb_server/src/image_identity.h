// Tells whether an image is the one that is meant, from as little of it as that takes.
#pragma once

#include <boost/filesystem/path.hpp>

#include "base/guid.h"
#include "qv/portable_executable/readers.h"

namespace qv::profiler::pdb_server {

// The MVID of an image. `image` gets its debug entries, and of its metadata the place only: a few pages of it are read,
// for large images have megabytes. The file is closed before this returns. Throws what opening the file and the readers
// of images and metadata throw.
GUID read_image_mvid(const boost::filesystem::path& path, portable_executable::image_data& image);

}  // namespace qv::profiler::pdb_server
