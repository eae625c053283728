// Serves any number of clients of one named pipe. Windows only.
//
// Every client is served on a worker thread of its own, which owns one instance of the pipe: it waits for a client,
// runs the conversation, disconnects and waits again. A few idle workers always wait, so that a new client finds one at
// once; surplus ones retire after some seconds. No failure of one client, or of one worker, touches the others.
#pragma once

#include <functional>
#include <string>

#include "core/packets.h"
#include "core/stream/NamedPipeStream.h"

namespace qv::profiler::pdb_server {

// Whether the server joins other processes that have the pipe's name already, or wants the name for itself.
enum class pipe_name_use { shared, new_only };

// One per server run.
struct pipe_manager_params {
    // The pipe is "\\.\pipe\" + this.
    std::wstring pipe_name;

    // True once the server must stop; asked ten times a second, by the thread that runs the pipes.
    std::function<bool()> stop;

    // The conversation with one connected client; called by all workers at the same time. Returns when it is over; an
    // exception ends only this connection.
    std::function<void(const std::function<bool()>& stop, const std::function<bool(int)>& wait, packet_reader* reader,
                       packet_writer* writer)>
        process_commands;

    client_range clients = client_range::everywhere;

    // With `new_only` the server never joins a pipe of another process: where the name is taken the run fails with
    // "Pipe name is taken by another process", as long as no worker has listened; later it is tried again.
    pipe_name_use name = pipe_name_use::shared;
};

// Runs until `params.stop` answers true and every worker has ended. A client that is being sent an
// answer, or has sent part of a command, is then still waited for as long as stop_grace says. `ready` is called once,
// on the calling thread, as soon as the first worker waits for a client or the stop has come before.
//
// Throws what kept the first worker from waiting at all, and what `ready` throws, after every worker has ended. Later
// failures are logged and made good.
void run_pipes(const pipe_manager_params& params, const std::function<void()>& ready);

}  // namespace qv::profiler::pdb_server
