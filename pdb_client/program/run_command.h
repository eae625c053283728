// Carries out the program's command in a session. Knows nothing of pipes, processes and consoles.
#pragma once

#include <string>

#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/options.h"

namespace qv::profiler::pdb_client {

// The exit codes of the program.
enum class exit_code { done = 0, error_answer = 1, bad_command_line = 2, no_server = 3 };

struct outcome {
    exit_code code = exit_code::done;
    std::string output;     // UTF-8 for standard output
    std::string messages;   // UTF-8 lines for standard error
    bool verbatim = false;  // `output` is bytes of the module, whatever they are: unfit for a console
};

// Why the module cannot be asked what the command line wants; empty if it can.
std::string misfit(const options& wanted, const module_info& module);

// Loads the module, asks, and says goodbye. Throws when the conversation fails.
outcome run_command(session& server, const options& wanted, const module_info& module);

}  // namespace qv::profiler::pdb_client
