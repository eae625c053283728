// Compressed files: cabinets of one file (MSZIP or LZX), unpacked by the system's cabinet API. Windows only.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "symbol_services/symbol_server/temporary_file.h"

namespace qv::symbol_store {

// Writes the file of the cabinet, of at most `largest` bytes. Answers why that cannot be done, or an empty text.
std::wstring expand_cabinet(const boost::filesystem::path& cabinet, temporary_file& to, std::uint64_t largest);

}  // namespace qv::symbol_store
