// The commands of the serving state. Each parses its payload, runs its query and sends its answer.
#pragma once

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

// Sets the connection's quit flag.
void cmd_quit(const std::vector<unsigned char>& payload, packet_writer* writer, bool& quit);

}  // namespace qv::profiler::pdb_server
