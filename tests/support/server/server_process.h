// The real pdb_server.exe as a child process, and raw clients of its pipe. Windows only.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/holders.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {

// Starts the server on a pipe name of its own, with a log file and a stop event. The server is ended with the object.
class server_process {
public:
    struct settings {
        std::uint16_t log_mask = 17;
        bool own_console = false;                          // needed for Ctrl-C
        std::optional<std::wstring> pipe_argument = {};    // in place of the pipe's own name
        std::optional<std::wstring> log_file = {};         // in place of the log that log() reads
        std::vector<std::wstring> further_arguments = {};  // as further words of the command line
        std::optional<std::wstring> executable = {};       // in place of pdb_server.exe
        std::wstring variable = {};                        // "NAME=VALUE", in the environment that it inherits
    };

    // Blocks until the server is ready or has ended.
    server_process() : server_process(settings{}) {}
    explicit server_process(const settings& s);
    ~server_process();
    server_process(const server_process&) = delete;
    server_process& operator=(const server_process&) = delete;

    void request_stop();

    // Presses Ctrl-C in the server's own console.
    void press_control_c();

    // Waits for the end; STILL_ACTIVE when it does not come.
    DWORD exit_code();

    // STILL_ACTIVE while it runs.
    DWORD exit_code_now() const;

    // What the server has written so far.
    std::string standard_output() const { return read_file(directory_.path() / "stdout.txt"); }
    std::string standard_error() const { return read_file(directory_.path() / "stderr.txt"); }
    std::string log() const { return read_file(directory_.path() / "log.txt"); }

    struct resources {
        std::size_t handles;
        std::uint64_t memory;  // committed bytes
    };
    resources holdings() const;

    const std::wstring& pipe_id() const noexcept { return pipe_id_; }

private:
    void start(const settings& s, std::wstring& command);

    std::wstring pipe_id_;
    temporary_directory directory_;
    handle_hld ready_;
    handle_hld stop_;
    handle_hld process_;
    std::uint32_t process_id_ = 0;
};

// One client connection, bytes in and out.
class raw_client {
public:
    // Connects, waiting for the server and a free instance as long as it takes within reason: 10 ms a try.
    explicit raw_client(const std::wstring& pipe_id, unsigned most_tries = 6000);

    void send(const bytes& request);

    // Exactly this many bytes, or fewer when the server closes first.
    bytes receive(std::size_t size);

    // Everything until the server closes the connection.
    bytes receive_rest() { return receive(0x10000); }

    // Sends and receives as many bytes as the answer has.
    bytes exchange_for(const bytes& request, std::size_t answer_size);

    // How many of the answers are not as expected.
    std::size_t wrong_answers(const std::vector<exchange>& steps);

    // Pipe instances that the server has now, this client's own among them.
    std::uint32_t instances() const;

private:
    handle_hld pipe_;
};

// A client that has shaken hands.
struct served_client : raw_client {
    explicit served_client(const server_process& server);
};

// Whether classic PDBs can be read here: tests that rest on it are skipped where no symbol binder is registered.
bool has_symbol_binder();

}  // namespace qv::testing
