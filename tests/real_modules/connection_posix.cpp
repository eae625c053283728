#include <future>

#include "core/src/bridges/packet_writer.h"
#include "pdb_server/src/command_processor.h"
#include "tests/real_modules/connection.h"
#include "tests/support/streams/duplex_pipe.h"

namespace qv::testing {
namespace {

namespace client = profiler::pdb_client;

class thread final : public connection {
public:
    ~thread() override { pipe_.client->Close(); }

    client::session& session() override { return session_; }

private:
    void serve() {
        packet_reader reader(*pipe_.server);
        packet_writer writer(*pipe_.server);
        const auto wait = [this](int milliseconds) { return pipe_.server->WaitForDataToRead(milliseconds); };
        profiler::pdb_server::process_commands([] { return false; }, wait, &reader, &writer);
    }

    duplex_pipe pipe_;
    std::future<void> server_ = std::async(std::launch::async, [this] { serve(); });
    client::session session_{*pipe_.client, {.policy = beside_the_image, .search_paths = {}}};
};

}  // namespace

std::unique_ptr<connection> connect() {
    return std::make_unique<thread>();
}

}  // namespace qv::testing
