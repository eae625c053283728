// The one difference between systems: what lies between the client library and the server.
#pragma once

#include <memory>

#include "pdb_client/library/session.h"

namespace qv::testing {

class connection {
public:
    virtual ~connection() = default;
    virtual profiler::pdb_client::session& session() = 0;
};

// The policy of a session that finds a PDB beside its image and on no server.
constexpr std::uint8_t beside_the_image = profiler::policy_original_path | profiler::policy_reference_path;

// A connection to a server of its own: on Windows the program behind its pipe, elsewhere the command loop in a thread.
std::unique_ptr<connection> connect();

}  // namespace qv::testing
