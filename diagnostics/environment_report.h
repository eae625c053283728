// The second record of every log: what runs where, for people who read a log from somebody else's machine.
#pragma once

#include "qv/diagnostics/TextStream.h"

namespace qv::log {

// Writes the body of the record: one line for each of build, system, processor, environment and process.
void write_environment_report(profiler::stream::TextStream& out);

}  // namespace qv::log
