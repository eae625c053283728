// Where the portable PDB of an image may lie.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "base/guid.h"
#include "common/search_observer.h"
#include "pdb_server/src/pdb_processor_ppdb.h"
#include "pdb_server/src/search_paths.h"
#include "pdb_server/src/stop_check.h"
#include "pdb_server/src/system/platform_services.h"

namespace qv::profiler::pdb_server {

// The places, in this order, for the portable PDB that a CodeView record names with file name F:
//   the recorded path, if absolute
//   F beside the image, then in "symbols" beside the image
//   for each element E of the search paths: for a directory E\F, E\symbols\F, E\<ext>\F, E\symbols\<ext>\F (ext being
//   the image's extension) and the store layout E\F\<GUID>FFFFFFFF\F; for a symbol-server specification, if the policy
//   permits and it names no other library, what the symbol-server library answers; else the log says why not
// An element that came before is not gone through again, nor is a place that was offered before the first element.
struct symbol_candidates {
    const boost::filesystem::path& image;
    const search_path_list& elements;
    std::uint8_t policy;
    const platform_services& services;
    const stop_check& stop;
    search_observer observer = {};

    // Offers the places to `visit` until it answers true. Throws that the server is stopping.
    void offer(const std::wstring& recorded_path, const GUID& pdb_guid, const candidate_visitor& visit) const;
};

}  // namespace qv::profiler::pdb_server
