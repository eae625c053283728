// The commands of the serving state. Each parses its payload, runs its query and sends its answer.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/src/bridges/packet_writer.h"
#include "pdb_server/src/pdb_processor.h"

namespace qv::profiler::pdb_server {

void cmd_load_module(const std::vector<unsigned char>& payload, packet_writer* writer, pdb_processor& processor);
void cmd_unload_module(const std::vector<unsigned char>& payload, packet_writer* writer, pdb_processor& processor);
void cmd_get_method_offsets(const std::vector<unsigned char>& payload, packet_writer* writer, pdb_processor& processor);
void cmd_get_method_ranges(const std::vector<unsigned char>& payload, packet_writer* writer, pdb_processor& processor);
void cmd_get_source_server_data(const std::vector<unsigned char>& payload, packet_writer* writer,
                                pdb_processor& processor);
void cmd_get_document(const std::vector<unsigned char>& payload, packet_writer* writer, pdb_processor& processor);

// Document ids, start lines, start columns, end lines and end columns of a method's points.
using method_ranges = std::array<std::vector<std::uint32_t>, 5>;

// The count and then each vector in one block. Throws "Inconsistent rage information sizes", with nothing written, when
// their sizes differ.
void write_method_ranges(const method_ranges& ranges, IWriteCoreStream* stream);

// Sets the connection's quit flag.
void cmd_quit(const std::vector<unsigned char>& payload, packet_writer* writer, bool& quit);

}  // namespace qv::profiler::pdb_server
