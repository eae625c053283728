// Environment variables of the running process; see platform_services for the contract.
#pragma once

#include <cstdint>

namespace qv::profiler::pdb_server {

std::uint32_t get_environment_variable(const wchar_t* name, wchar_t* buffer, std::uint32_t size, std::uint32_t& error);

}  // namespace qv::profiler::pdb_server
