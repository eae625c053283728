// Asks a server about every module below a folder.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "core/stream/CoreStreams.h"
#include "pdb_client/program/options.h"
#include "pdb_client/program/output.h"
#include "pdb_client/program/run_command.h"

namespace qv::profiler::pdb_client {

// Opens a further connection to the server. Called by several threads at once.
using connector = std::function<std::unique_ptr<ICoreStream>()>;

// Is told how far the work is; by one thread.
class progress {
public:
    progress() = default;
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;
    virtual ~progress() = default;

    virtual void show(std::size_t done, std::size_t all) = 0;

    // Something else is going to be written.
    virtual void clear() = 0;
};

// A line for each managed module below the folder that the command line names, in the order of their paths, each as
// soon as those before it are known. Several connections work at once. exit_code::error_answer where a module has no
// symbols though its image names some, or where they cannot be read whole. Throws what `connect`, a session and `out`
// throw.
outcome verify(const options& wanted, const connector& connect, output& out, progress& shown);

}  // namespace qv::profiler::pdb_client
