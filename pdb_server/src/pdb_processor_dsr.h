// Classic PDB backend: symbols through the platform's unmanaged symbol reader.
//
// Not implemented yet: the two entry points exist so that the rest of the server is complete around them. They find no
// symbols, so a module with a classic PDB loads as one that has none.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <memory>

#include "pdb_server/src/module_data.h"
#include "pdb_server/src/search_paths.h"

namespace qv::profiler::pdb_server {

// State shared by every classic module of one connection.
struct dsr_data {};

std::shared_ptr<dsr_data> dsr_init();

// Opens the symbols of the image; empty when there are none.
std::shared_ptr<module_data> dsr_load_module(const std::shared_ptr<dsr_data>& data, const boost::filesystem::path& path,
                                             const GUID& mvid, const search_path_list& search_paths,
                                             std::uint8_t policy);

}  // namespace qv::profiler::pdb_server
