// Carries out the program's command in a session. Knows nothing of pipes, processes and consoles.
#pragma once

#include <optional>
#include <string>

#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/options.h"
#include "pdb_client/program/output.h"

namespace qv::profiler::pdb_client {

// The exit codes of the program.
enum class exit_code { done = 0, error_answer = 1, bad_command_line = 2, no_server = 3 };

struct outcome {
    exit_code code = exit_code::done;
    std::string messages;  // UTF-8 lines for standard error, to be shown behind the output
};

// What can be done about the failure that a server answers to a load; empty where nothing is known.
std::string advice_on(const std::string& error);

// Settles which method the command line means, where it means one. What comes back is the end of the program instead:
// it means none, or one of several, which are listed.
std::optional<outcome> settle_method(options& wanted, const module_info& module, output& out);

// Loads the module, asks, shows, and says goodbye. Throws when the conversation fails, and what `out` throws.
outcome run_command(session& server, const options& wanted, const module_info& module, output& out);

}  // namespace qv::profiler::pdb_client
