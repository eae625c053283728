// A session with a server of its own that finds a PDB beside its image and on no server: on Windows the program behind
// its pipe, elsewhere the command loop in a thread.
#pragma once

#include "pdb_client/library/session.h"
#ifdef _WIN32
#include "pdb_client/library/pipe_connection.h"
#include "tests/support/server/server_process.h"
#else
#include <future>

#include "core/packets.h"
#include "pdb_server/src/command_processor.h"
#include "tests/support/streams/duplex_pipe.h"
#endif

namespace qv::testing {

class connection {
public:
#ifdef _WIN32
    const server_process& server() const {
        return server_;
    }
#else
    ~connection() {
        pipe_.client->Close();
    }
#endif

    profiler::pdb_client::session& session() {
        return session_;
    }

private:
#ifdef _WIN32
    server_process server_;
    profiler::pdb_client::pipe_connection stream_{server_.pipe_id(),
                                                  {std::chrono::minutes(1), std::chrono::minutes(1)}};
#else
    void serve() {
        packet_reader reader(*pipe_.server);
        packet_writer writer(*pipe_.server);
        const auto wait = [this](int milliseconds) { return pipe_.server->WaitForDataToRead(milliseconds); };
        profiler::pdb_server::process_commands([] { return false; }, wait, &reader, &writer);
    }

    duplex_pipe pipe_;
    std::future<void> server_ = std::async(std::launch::async, [this] { serve(); });
    duplex_end& stream_ = *pipe_.client;
#endif
    profiler::pdb_client::session session_{
        stream_, {.policy = policy_original_path | policy_reference_path, .search_paths = {}}};
};

}  // namespace qv::testing
