// The ordered list of symbol search path elements and where a symbol file may lie along it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "pdb_server/src/pdb_processor_ppdb.h"
#include "pdb_server/src/system/platform_services.h"
#include "quorvex/common/guid.h"

namespace qv::profiler::pdb_server {

// Elements exactly as given: directories or symbol-server specifications, empty ones included.
using search_path_list = std::vector<boost::filesystem::path>;

// True for an element that begins with "srv*", "symsrv*" or "cache*" in any case: it is no directory.
bool is_symbol_server_element(const boost::filesystem::path& element);

// Splits at every ";"; adjacent separators, or one at an end, give an empty element.
std::vector<std::wstring> split_search_path(const std::wstring& value);

// The part of a recorded path after its last separator. Both kinds of slash separate: the module may have been built on
// another system than this one.
std::wstring recorded_file_name(const std::wstring& recorded_path);

// Where to look, in this order and no place twice, for the portable PDB that a CodeView record names with file name F:
//   the recorded path, if absolute
//   F beside the image, then in "symbols" beside the image
//   for each element E of the search paths: for a directory E\F, E\symbols\F, E\<ext>\F, E\symbols\<ext>\F (ext being
//   the image's extension) and the store layout E\F\<GUID>FFFFFFFF\F; for a symbol-server specification, if the policy
//   permits, what the symbol-server library answers
struct symbol_candidates {
    const boost::filesystem::path& image;
    const search_path_list& elements;
    std::uint8_t policy;
    const platform_services& services;

    // Offers the places to `visit` until it answers true.
    void offer(const std::wstring& recorded_path, const GUID& pdb_guid, const candidate_visitor& visit) const;
};

}  // namespace qv::profiler::pdb_server
