#include "pdb_client/library/pipe_connection.h"
#include "tests/real_modules/connection.h"
#include "tests/support/server/server_process.h"

namespace qv::testing {
namespace {

namespace client = profiler::pdb_client;

class pipe final : public connection {
public:
    client::session& session() override { return session_; }

private:
    server_process server_;
    client::pipe_connection pipe_{server_.pipe_id(), {std::chrono::minutes(1), std::chrono::minutes(1)}};
    client::session session_{pipe_, {.policy = beside_the_image, .search_paths = {}}};
};

}  // namespace

std::unique_ptr<connection> connect() {
    return std::make_unique<pipe>();
}

}  // namespace qv::testing
