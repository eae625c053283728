// The server's command line.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace qv::profiler::pdb_server {

struct server_options {
    std::wstring pipe;                   // identifier from which the pipe's name is formed; may be empty
    boost::filesystem::path log_file;    // empty: no log
    std::uint16_t log_mask = 0;          // components written to the log
    boost::filesystem::path symsrv_dir;  // where the symbol-server library lies; empty: beside the executable
    std::wstring stop_request_event;     // event through which the host stops the server; empty: none
    bool local_clients_only = false;     // of this machine
    bool new_pipe_only = false;          // the pipe's name must be nobody else's
    bool local_paths_only = false;       // clients may name places on this machine's own drives alone
};

// Reads "--name value" (or "--name=value") options and at most one positional argument, the pipe. `arguments` are those
// after the program's name. Throws boost::program_options::error, its text in UTF-8, for anything else.
server_options parse_options(const std::vector<std::wstring>& arguments);

}  // namespace qv::profiler::pdb_server
