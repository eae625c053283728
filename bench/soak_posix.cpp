#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <exception>
#include <iterator>
#include <string>
#include <thread>

#include "bench/soak.h"
#include "diagnostics/log.h"
#include "pdb_server/src/command_processor.h"
#include "tests/support/streams/duplex_pipe.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::soak {
namespace {

namespace fs = boost::filesystem;

constexpr std::uint16_t all_components = 17;

// The client's end of a conversation that a thread of this process serves.
class conversation : public ICoreStream {
public:
    conversation() : server_([this] { serve(); }) {}
    ~conversation() override { pipe_.client->Close(); }
    conversation(const conversation&) = delete;
    conversation& operator=(const conversation&) = delete;

    void Read(void* destination, std::uint64_t size) override { pipe_.client->Read(destination, size); }
    void Write(const void* source, std::uint64_t size) override { pipe_.client->Write(source, size); }

private:
    void serve() {
        packet_reader reader(*pipe_.server);
        packet_writer writer(*pipe_.server);
        const auto wait = [this](int milliseconds) { return pipe_.server->WaitForDataToRead(milliseconds); };
        try {
            profiler::pdb_server::process_commands([] { return false; }, wait, &reader, &writer);
        } catch (const std::exception&) {
            // The client has left, or hears by the end of the connection that something is wrong.
        }
        pipe_.server->Close();
    }

    testing::duplex_pipe pipe_;
    std::jthread server_;
};

class in_process : public server {
public:
    std::unique_ptr<ICoreStream> connect() override { return std::make_unique<conversation>(); }

    holdings now() const override {
        holdings result{};
        fs::ifstream status("/proc/self/status");
        for (std::string word; status >> word;) {
            if (word == "VmRSS:") status >> result.memory;
            if (word == "Threads:") status >> result.threads;
        }
        result.memory *= 1024;
        result.handles = static_cast<std::uint64_t>(
            std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
        return result;
    }
};

}  // namespace

std::unique_ptr<server> start_server(const settings& chosen) {
    if (!chosen.log.empty()) {
        log::Logger::instance().open(text::to_path(chosen.log));
        log::Logger::instance().set_components(all_components);
    }
    return std::make_unique<in_process>();
}

}  // namespace qv::soak

int main(int count, char** arguments) {
    std::vector<std::wstring> words;
    for (int i = 1; i < count; ++i) words.push_back(qv::text::to_utf16(arguments[i]));
    const int result = qv::soak::soak(words);
    qv::log::Logger::instance().close();
    return result;
}
