// Tells people where a server looks for the symbols of a module and what it finds there, by making the server's own
// search in this process.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/search_observer.h"
#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/options.h"
#include "pdb_client/program/output.h"
#include "pdb_client/program/run_command.h"
#include "pdb_server/src/system/platform_services.h"

namespace qv::profiler::pdb_client {

// What a search for the symbols of one module has come to.
struct search_report {
    std::vector<std::wstring> search_path;  // the command line's elements, then those of the environment
    std::vector<search_event> steps;        // in the server's order
    std::string failure;                    // why the search ended before its end; may be empty
    bool found = false;
};

// Searches as the server does. A classic PDB is searched for as the reader does that comes with the server; another
// one, which a machine may have, keeps its places to itself.
search_report search_symbols(const module_info& module, const session_options& search,
                             const pdb_server::platform_services& services);

// Searches and shows every step, and ends with one sentence: where the symbols are, or what to do next. `store_note`
// says why symbol servers are not asked; empty where they are. exit_code::error_answer where there are no symbols.
outcome explain(const options& wanted, const module_info& module, const pdb_server::platform_services& services,
                const std::string& store_note, output& out);

}  // namespace qv::profiler::pdb_client
