// Portable PDB backend: symbols from a standalone portable PDB file or from one embedded in the image.
#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <memory>
#include <string>

#include "common/search_observer.h"
#include "pdb_server/src/module_data.h"
#include "qv/portable_executable/readers.h"

namespace qv::profiler::pdb_server {

// Offered a candidate file; answers whether the search is over.
using candidate_visitor = std::function<bool(const boost::filesystem::path& candidate)>;

// Offers the candidate files of a CodeView record to `visit`, in search order, until it answers true. The record is
// given by the path as the compiler wrote it and the GUID of the PDB.
using candidate_source =
    std::function<void(const std::wstring& recorded_path, const GUID& pdb_guid, const candidate_visitor& visit)>;

// Finds the portable PDB of an image: the embedded one first, else the first candidate file whose id belongs to the
// image. Empty when there is none. A candidate that is not a portable PDB or belongs to another build is passed over;
// one that is malformed throws, and so does an image whose records ask for too many searches. No file stays open.
std::shared_ptr<module_data> try_load_module(const GUID& mvid, const portable_executable::image_data& image,
                                             const candidate_source& candidates, const search_observer& observer = {});

}  // namespace qv::profiler::pdb_server
