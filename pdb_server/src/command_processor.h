// The whole conversation with one client: version check, options, module commands until quit.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "core/packets.h"
#include "pdb_server/src/pdb_processor.h"

namespace qv::profiler::pdb_server {

// Serves one client on one connection, on the calling thread, with a symbol engine of its own. Returns after the quit
// command or when `stop` answers true; throws when the handshake, the framing or a payload is bad, when the stream
// fails, and when a command is unknown. A query that fails is answered and the conversation goes on.
//
// `stop` is asked before each command whether the loop is to end, and often during a load that searches for long. So is
// `wait` while a symbol server is waited for: a client that has left ends the search.
// `wait` waits up to the given number of milliseconds for data and answers whether a packet can be read. Neither may be
// empty.
void process_commands(const std::function<bool()>& stop, const std::function<bool(int)>& wait, packet_reader* reader,
                      packet_writer* writer, const platform_services& services = system_services());

// Document ids, start lines, start columns, end lines and end columns of a method's points.
using method_ranges = std::array<point_values, 5>;

// Writes them as an answer carries them: the count and then each vector in one block. When their sizes differ nothing
// is written and this throws.
void write_method_ranges(const method_ranges& ranges, IWriteCoreStream* stream);

}  // namespace qv::profiler::pdb_server
