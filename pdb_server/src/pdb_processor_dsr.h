// Classic PDB backend: symbols through the platform's unmanaged symbol reader.
//
// The reader is a COM service that a machine may lack: it comes with the .NET Framework or is registered beside it. A
// machine without it still answers for portable PDBs, so its absence is not the connection's failure: it is logged as a
// warning once and raised again by every module that would need the service. A machine that has the service but fails
// otherwise, for want of memory or with a list of runtimes that makes no sense, fails the connection.
//
// Elsewhere than on Windows there is no such service and no image has classic symbols.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <memory>

#include "pdb_server/src/module_data.h"
#include "pdb_server/src/search_paths.h"
#include "pdb_server/src/stop_check.h"

namespace qv::profiler::pdb_server {

// State shared by every classic module of one connection: the way to the symbol reader, or why there is none.
struct dsr_data;

// Never empty, and never fails for want of the service. Throws what the runtimes and their list fail with, and any
// failure for want of memory. The calling thread has initialised COM.
std::shared_ptr<dsr_data> dsr_init();

// Whether the service is there, so that dsr_load_module has someone to ask.
bool dsr_is_available(const std::shared_ptr<dsr_data>& data) noexcept;

// Opens the symbols of the image; empty, with the record "no_sud", when the reader finds none. Throws what dsr_init
// went without, hresult_exception for an image without metadata, and, between two pieces of a long search path, that
// the server is stopping.
std::shared_ptr<module_data> dsr_load_module(const std::shared_ptr<dsr_data>& data, const boost::filesystem::path& path,
                                             const GUID& mvid, const search_path_list& search_paths,
                                             std::uint8_t policy, const stop_check& stop = {});

}  // namespace qv::profiler::pdb_server
